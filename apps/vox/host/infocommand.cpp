#include "vox/host/infocommand.h"

#include "messages/hrmv2answer.h"
#include "messages/kvr.h"
#include "messages/kvranswer.h"
#include "messages/voxfield.h"
#include "proxies/hrmv2motorproxy.h"
#include "proxies/kvrmotorproxy.h"
#include "transport/voxbus.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/outcome.h"
#include "vox/words.h"

#include <QJsonArray>

#include <memory>

namespace {
const QString Name = QStringLiteral("info");
const QString Dash = QStringLiteral("-");

/// A question, and where it belongs.
struct Question
{
    enum Of {
        AnyNode,
        /// A node that refuses the first of these is no motor, and is not asked the others.
        Motor
    };
    enum Shown {
        AllValues,
        /// Of counters, those that are not 0.
        OnlyCounted
    };

    const char *name;
    BusPendingCall (KVRMotorProxy::*get)();
    Of of = AnyNode;
    Shown shown = AllValues;
};

const Question quickQuestions[] = {
    {"serial", &KVRMotorProxy::getNodeSerialNumber},
    {"appVersion", &KVRMotorProxy::getNodeAppVersion},
    {"stackVersion", &KVRMotorProxy::getNodeStackVersion},
    {"status", &KVRMotorProxy::getMotorStatus, Question::Motor},
    {"position", &KVRMotorProxy::getMotorPosition, Question::Motor},
    {"limits", &KVRMotorProxy::getMotorLimits, Question::Motor},
    {"speeds", &KVRMotorProxy::getMotorRollingSpeed, Question::Motor},
    {"networkLock", &KVRMotorProxy::getNetworkLock, Question::Motor},
};

const Question otherQuestions[] = {
    {"network", &KVRMotorProxy::getNetworkConfig},
    {"frames", &KVRMotorProxy::getNetworkStat},
    {"networkErrors", &KVRMotorProxy::getNetworkErrorStat, Question::AnyNode, Question::OnlyCounted},
    {"direction", &KVRMotorProxy::getMotorDirection, Question::Motor},
    {"mode", &KVRMotorProxy::getAppMode, Question::Motor},
    {"tiltLimits", &KVRMotorProxy::getTiltLimits, Question::Motor},
    {"tiltingSpeed", &KVRMotorProxy::getMotorTiltingSpeed, Question::Motor},
    {"softStartStop", &KVRMotorProxy::getMotorSoftStartStop, Question::Motor},
    {"torqueLimitation", &KVRMotorProxy::getTorqueLimitation, Question::Motor},
    {"moves", &KVRMotorProxy::diagGetTotalMoveCount, Question::Motor},
    {"revolutions", &KVRMotorProxy::diagGetTotalRevCount, Question::Motor},
    {"thermal", &KVRMotorProxy::diagGetThermalCount, Question::Motor, Question::OnlyCounted},
    {"obstacles", &KVRMotorProxy::diagGetObstacleCount, Question::Motor, Question::OnlyCounted},
    {"powerUps", &KVRMotorProxy::diagGetPowerCount, Question::Motor},
    {"resets", &KVRMotorProxy::diagGetResetCount, Question::Motor},
    {"encoderErrors", &KVRMotorProxy::diagGetEncoderErrors, Question::Motor},
};

/// A question with an index, which is asked until the node refuses one.
struct Slots
{
    const char *name;
    BusPendingCall (KVRMotorProxy::*get)(quint8 index);
    quint8 first;
    quint8 last;
    Question::Of of;
    /// What stands in a slot, for people; empty if it is free.
    QString (*text)(int index, const VOXMessage &reply);
};

QString groupText(int index, const VOXMessage &reply)
{
    Q_UNUSED(index)
    const auto answer = KVRAnswer::from<KVRAnswer::GroupAddr>(reply);
    return answer && answer->group != 0 ? VOX::toString(answer->group) : QString();
}

QString positionText(int index, const VOXMessage &reply)
{
    const auto answer = KVRAnswer::from<KVRAnswer::MotorIP>(reply);
    return answer && answer->position ? QStringLiteral("%1 at %2 pulses").arg(index).arg(*answer->position)
                                      : QString();
}

QString lockText(int index, const VOXMessage &reply)
{
    const auto answer = KVRAnswer::from<KVRAnswer::DCTLock>(reply);
    return answer && answer->locked
        ? QStringLiteral("%1 by %2, priority %3")
              .arg(index)
              .arg(VOX::toString(answer->source), QString::number(answer->priority))
        : QString();
}

const Slots slotQuestions[] = {
    {"groups", qOverload<quint8>(&KVRMotorProxy::getGroupAddr), 0, 15, Question::AnyNode, groupText},
    {"intermediatePositions", &KVRMotorProxy::getMotorIP, 1, 16, Question::Motor, positionText},
    {"dctLocks", &KVRMotorProxy::getDCTLock, 1, 8, Question::Motor, lockText},
};

/// The values of a reply. A version is its text, a single field its value, several fields an object by their
/// names.
QJsonValue valuesOf(const KVRStdProxy &proxy, const VOXMessage &reply)
{
    const bool isVersion =
        reply.cmd() == KVR::POST_NODE_APP_VERSION || reply.cmd() == KVR::POST_NODE_STACK_VERSION;
    KVRStdProxy::AppVersion version;
    if (isVersion && proxy.getNodeStackVersionReply(reply, version))
        return version.toString();
    const QJsonObject fields = VOXField::toJson(reply);
    return fields.size() == 1 ? *fields.begin() : QJsonValue(fields);
}

/// The same for people, in one line.
QString toText(const QJsonValue &told, const VOXMessage &reply, Question::Shown shown)
{
    if (told.isString())
        return printable(told.toString());
    QStringList words;
    const auto values = VOXField::valuesOf(reply);
    for (const VOXField::Value &value : values) {
        if (shown == Question::OnlyCounted && value.value.toInt() == 0)
            continue;
        words += told.isObject()
            ? QStringLiteral("%1 %2").arg(QLatin1String(value.field->name), value.toString())
            : value.toString();
    }
    return words.isEmpty() ? QStringLiteral("none") : words.join(QStringLiteral(", "));
}

/// Asks one node, and shows each answer as it comes; as JSON, all of them at the end.
class Info
{
public:
    Info(VOX::Addr addr, VOXBus &bus, bool isJson)
        : m_addr(addr)
        , m_proxy(addr, &bus)
        , m_isJson(isJson)
    {
    }

    /// False if the node does not even tell its label; then that is printed, and exitCode() is the program's.
    bool begin();
    template <std::size_t Count>
    void ask(const Question (&questions)[Count]);
    void askSlots();
    void finish();

    int exitCode() const { return m_exitCode; }

private:
    template <typename Get>
    Outcome ask(const Get &get)
    {
        return ::ask(m_addr, Asking::AgainIfLost, get);
    }
    void tellGeneration(const Outcome &refusal);
    /// Keeps what a question has brought, for JSON: null if the node does not know it.
    void take(const char *name, const Outcome &outcome, const QJsonValue &told);
    /// Shows it under @p name, for people.
    void show(const char *name, const Outcome &outcome, const QString &text) const;
    bool concerns(Question::Of of) const { return of == Question::AnyNode || m_isMotor; }

    const VOX::Addr m_addr;
    KVRMotorProxy m_proxy;
    const bool m_isJson;
    bool m_isMotor = true;
    QJsonObject m_node;
    QJsonObject m_fields;
    QStringList m_unanswered;
    int m_exitCode = Success;
};

bool Info::begin()
{
    const Outcome label = ask([this] { return m_proxy.getNodeLabel(); });
    m_exitCode = label.exitCode();
    if (m_exitCode != Success) {
        label.print(Name, m_isJson);
        tellGeneration(label);
        return false;
    }
    m_node = label.toJson();
    m_node.remove(QStringLiteral("command"));
    m_fields = m_node.value(QStringLiteral("fields")).toObject();
    if (!m_isJson)
        printLine(QStringLiteral("%1 %2 %3")
                      .arg(m_node.value(QStringLiteral("address")).toString(),
                           m_node.value(QStringLiteral("type")).toString(),
                           printable(m_fields.value(QStringLiteral("label")).toString())));
    return true;
}

/// A motor of the older generation refuses all questions here.
void Info::tellGeneration(const Outcome &refusal)
{
    if (!KVR::isNack(refusal.reply()))
        return;
    HRMv2MotorProxy older(m_addr, m_proxy.bus());
    const Outcome told = ask([&] { return older.getMotorSettings(); });
    if (HRMv2Answer::from<HRMv2Answer::MotorSettings>(told.reply()))
        printError(Name,
                   QStringLiteral("%1 is a motor of the older generation; 'vox call %1 "
                                  "hrmv2:getMotorSettings' and the like ask it")
                       .arg(VOX::toString(m_addr)));
}

void Info::take(const char *name, const Outcome &outcome, const QJsonValue &told)
{
    if (!outcome.isAnswered())
        m_unanswered += QLatin1String(name);
    m_fields.insert(QLatin1String(name), told);
}

void Info::show(const char *name, const Outcome &outcome, const QString &text) const
{
    if (m_isJson)
        return;
    // A line is broken between values, and not within one.
    QString values = outcome.isAnswered() ? text : QStringLiteral("no answer");
    values.replace(QLatin1Char(' '), QChar::Nbsp);
    values.replace(QLatin1Char(',') + QString(QChar::Nbsp), QLatin1String(", "));
    const QString shown = wrapped(QStringLiteral("  %1: %2").arg(QLatin1String(name), values));
    printLine(QString(shown).replace(QChar::Nbsp, QLatin1Char(' ')));
}

template <std::size_t Count>
void Info::ask(const Question (&questions)[Count])
{
    for (const Question &question : questions) {
        if (!concerns(question.of)) {
            m_fields.insert(QLatin1String(question.name), QJsonValue::Null);
            continue;
        }
        const Outcome outcome = ask([&] { return (m_proxy.*question.get)(); });
        const bool isTold = outcome.exitCode() == Success;
        const QJsonValue told = isTold ? valuesOf(m_proxy, outcome.reply()) : QJsonValue(QJsonValue::Null);
        const bool isNoMotor = question.get == &KVRMotorProxy::getMotorStatus && KVR::isNack(outcome.reply());
        m_isMotor = m_isMotor && !isNoMotor;
        take(question.name, outcome, told);
        show(isNoMotor ? "motor" : question.name, outcome,
             isTold ? toText(told, outcome.reply(), question.shown) : Dash);
    }
}

void Info::askSlots()
{
    for (const Slots &question : slotQuestions) {
        QJsonArray told;
        QStringList texts;
        bool isKnown = false;
        Outcome outcome{BusPendingCall()};
        for (int index = question.first; index <= question.last && concerns(question.of); ++index) {
            outcome = ask([&] { return (m_proxy.*question.get)(static_cast<quint8>(index)); });
            // An empty slot of some nodes is a refusal of its own.
            const bool isFree = int{KVR::getNackReply(outcome.reply())} == int{KVR::NACK_IP_NOT_SET};
            if (outcome.exitCode() != Success && !isFree)
                break;
            isKnown = true;
            const QString slotText = isFree ? QString() : question.text(index, outcome.reply());
            if (!slotText.isEmpty()) {
                texts += slotText;
                QJsonObject slot = VOXField::toJson(outcome.reply());
                slot.insert(QStringLiteral("index"), index);
                told += slot;
            }
        }
        if (!concerns(question.of)) {
            m_fields.insert(QLatin1String(question.name), QJsonValue::Null);
            continue;
        }
        const QString text = texts.isEmpty() ? QStringLiteral("none") : texts.join(QStringLiteral(", "));
        take(question.name, outcome, isKnown ? QJsonValue(told) : QJsonValue(QJsonValue::Null));
        show(question.name, outcome, isKnown ? text : Dash);
    }
}

void Info::finish()
{
    m_node.insert(QStringLiteral("fields"), m_fields);
    if (!m_unanswered.isEmpty()) {
        m_exitCode = Failure;
        m_node.insert(QStringLiteral("unanswered"), QJsonArray::fromStringList(m_unanswered));
    }
    if (m_isJson)
        printJson(m_node);
}
}

int runInfo(const QStringList &arguments)
{
    CommandLine line(Name,
                     QStringLiteral("All that a node tells of itself, shown as it comes: some 60 questions, "
                                    "which take about five seconds on a line of 4800 bit/s. A dash stands "
                                    "for what the node does not know."),
                     QStringLiteral("vox info 000101"), CommandLine::BusOption | CommandLine::JsonOption);
    line.addArgument(QStringLiteral("address"), QStringLiteral("Six hexadecimal digits."),
                     QStringLiteral("ADDRESS"));
    const QCommandLineOption quick(
        QStringLiteral("quick"),
        QStringLiteral("Only label, serial number, versions, status, position, limits, speeds and lock: nine "
                       "questions, a second."));
    line.addOptions({quick});
    if (!line.parse(arguments, 1, 1))
        return line.exitCode();
    QString problem;
    VOX::Addr addr = 0;
    if (!VOX::readNodeAddr(line.words().constFirst(), &addr, &problem))
        return line.fail(problem);
    const std::unique_ptr<VOXBus> bus = line.openBus();
    if (!bus)
        return line.exitCode();
    Info info(addr, *bus, line.isJson());
    if (!info.begin())
        return info.exitCode();
    info.ask(quickQuestions);
    if (!line.parser().isSet(quick)) {
        info.askSlots();
        info.ask(otherQuestions);
    }
    info.finish();
    return info.exitCode();
}
