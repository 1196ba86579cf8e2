#include "vox/test/expectation.h"

#include "devices/kvrmotordevice.h"
#include "messages/voxfield.h"
#include "simulation/voxjsonplace_p.h"
#include "simulation/voxsimulation.h"
#include "vox/console.h"
#include "vox/test/program.h"
#include "vox/test/scenarioplaces.h"
#include "vox/test/stage.h"
#include "vox/test/witnessbus.h"

#include <QJsonDocument>

#include <algorithm>
#include <cstdlib>

namespace {
constexpr int DefaultMs = 5000;
constexpr int MaxCount = 100000;
constexpr int MaxPercent = 100;
constexpr int MaxByte = 255;

const QString CommandKey = QStringLiteral("command");
const QString FromKey = QStringLiteral("from");
const QString ToKey = QStringLiteral("to");
const QString GroupKey = QStringLiteral("group");
const QString FieldsKey = QStringLiteral("fields");
const QString CountKey = QStringLiteral("count");
const QString NodeKey = QStringLiteral("node");
const QString PercentKey = QStringLiteral("percent");
const QString PositionKey = QStringLiteral("position");
const QString ToleranceKey = QStringLiteral("tolerance");
const QString StateKey = QStringLiteral("state");
const QString SettingsKey = QStringLiteral("settings");
const QString ExitKey = QStringLiteral("exit");
const QString WithinKey = QStringLiteral("within");
const QString ForKey = QStringLiteral("for");

QString compact(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

/// Whether @p whole has all members that @p part has, with the same values.
bool contains(const QJsonValue &whole, const QJsonValue &part)
{
    if (!part.isObject())
        return whole == part;
    const QStringList keys = part.toObject().keys();
    return std::all_of(keys.begin(), keys.end(), [&](const QString &key) {
        return contains(whole.toObject().value(key), part.toObject().value(key));
    });
}

QString keyOf(KVRMotor::State state)
{
    return QString::fromLatin1(KVRMotor::MotorStateEnum().valueToKey(static_cast<int>(state)));
}

/// Whether @p value is one that @p field may show. A mistake is one of @p place.
void checkField(const VOXJsonPlace &place, const VOXField &field)
{
    const QJsonValue &value = place.value();
    if (field.none >= 0 && value.isNull())
        return;
    if (field.kind == VOXField::Flag) {
        place.flag();
    } else if (field.kind != VOXField::Number) {
        place.text();
    } else if (value.isString() && field.scope) {
        int number = 0;
        while (number <= MaxByte && field.key(number) != value.toString())
            ++number;
        if (number > MaxByte)
            place.fail(QStringLiteral("'%1' is no value of it").arg(value.toString()));
    } else if (!value.isDouble()) {
        place.fail(field.scope ? QStringLiteral("is to be a name or a number")
                               : QStringLiteral("is to be a number"));
    } else if (!field.key(value.toInt()).isEmpty()) {
        place.fail(QStringLiteral("%1 is shown as %2").arg(value.toInt()).arg(field.key(value.toInt())));
    }
}
}

Expectation Expectation::expectAt(const VOXJsonPlace &place, const VOXSimulation &network)
{
    Expectation expectation;
    if (place[NodeKey].isPresent())
        expectation.readNode(place, network);
    else if (!place[ExitKey].isPresent())
        expectation.readFrames(place);
    else if (place.isObjectOf({ExitKey, WithinKey})) {
        expectation.m_kind = Exit;
        expectation.m_number = place[ExitKey].number(0, MaxByte);
        expectation.m_words +=
            QStringLiteral("the end of the program with code %1").arg(expectation.m_number);
    }
    expectation.readTime(place);
    return expectation;
}

Expectation Expectation::neverAt(const VOXJsonPlace &place, const VOXSimulation &network)
{
    Expectation expectation = expectAt(place, network);
    if (!place[ForKey].isPresent())
        place.fail(QStringLiteral("needs \"for\", the time in which it is not to happen"));
    else if (place[CountKey].isPresent())
        place[CountKey].fail(QStringLiteral("goes with expect"));
    expectation.m_number = 0;
    expectation.m_isWanted = false;
    return expectation;
}

void Expectation::readTime(const VOXJsonPlace &place)
{
    m_isWhole = place[ForKey].isPresent();
    if (m_isWhole && place[WithinKey].isPresent())
        place[WithinKey].fail(QStringLiteral("goes without \"for\""));
    const VOXJsonPlace time = place[m_isWhole ? ForKey : WithinKey];
    m_ms = time.isPresent() ? durationAt(time) : DefaultMs;
    m_words += QStringLiteral("%1 %2").arg(m_isWhole ? ForKey : WithinKey, durationText(m_ms));
}

void Expectation::readFrames(const VOXJsonPlace &place)
{
    if (!place.isObjectOf({CommandKey, FromKey, ToKey, GroupKey, FieldsKey, CountKey, WithinKey, ForKey}))
        return;
    const VOXJsonPlace command = place[CommandKey];
    const unsigned char cmd = command.isPresent() ? commandAt(command) : 0;
    m_words += command.isPresent() ? command.text() : QStringLiteral("frame");
    if (command.isPresent())
        m_frameChecks += [cmd](const VOXMessage &frame) { return frame.cmd() == cmd; };
    const bool isToAll = place[ToKey].value() == QJsonValue(QStringLiteral("all"));
    if (isToAll)
        m_frameChecks += [](const VOXMessage &frame) { return frame.addrType() == VOX::BCAST; };
    for (const QString &key : {FromKey, ToKey, GroupKey}) {
        if (!place[key].isPresent())
            continue;
        m_words += QStringLiteral("%1 %2").arg(key, place[key].value().toString());
        if (key == ToKey && isToAll)
            continue;
        const unsigned int addr = place[key].address();
        m_frameChecks += [addr, key](const VOXMessage &frame) {
            if (key == GroupKey)
                return frame.addrType() == VOX::GROUP && frame.bcastAddr(false) == addr;
            if (key == ToKey)
                return frame.addrType() == VOX::P2P && frame.destAddr(false) == addr;
            return frame.addrType() != VOX::GROUP && frame.srcAddr(false) == addr;
        };
    }
    if (place[FieldsKey].isPresent())
        readFields(place[FieldsKey], cmd);
    if (place[CountKey].isPresent()) {
        m_number = place[CountKey].number(place[ForKey].isPresent() ? 0 : 1, MaxCount);
        m_words += counted(m_number, "time");
    }
}

void Expectation::readFields(const VOXJsonPlace &place, unsigned char command)
{
    QStringList names;
    for (const VOXField &field : VOXField::of(command))
        names += QLatin1String(field.name);
    if (names.isEmpty())
        place.fail(QStringLiteral("this command has no fields that are known"));
    if (!place.isObjectOf(names))
        return;
    for (const VOXField &field : VOXField::of(command)) {
        if (place[QLatin1String(field.name)].isPresent())
            checkField(place[QLatin1String(field.name)], field);
    }
    const QJsonObject fields = place.value().toObject();
    m_words += QStringLiteral("with %1").arg(compact(fields));
    m_frameChecks += [fields](const VOXMessage &frame) { return contains(VOXField::toJson(frame), fields); };
}

void Expectation::readNode(const VOXJsonPlace &place, const VOXSimulation &network)
{
    if (!place.isObjectOf(
            {NodeKey, PercentKey, PositionKey, ToleranceKey, StateKey, SettingsKey, WithinKey, ForKey}))
        return;
    m_kind = Node;
    m_addr = nodeAt(place[NodeKey], network);
    m_words += QStringLiteral("%1 to be").arg(place[NodeKey].text());
    const VOXJsonPlace tolerance = place[ToleranceKey];
    const int most = tolerance.isPresent() ? tolerance.number(0, KVRMotorDevice::UnsetPosition) : 0;
    const auto motorOf = [addr = m_addr](const Stage &stage) {
        return stage.simulation.node<KVRMotorDevice>(addr);
    };
    for (const QString &key : {PercentKey, PositionKey, StateKey}) {
        if (!place[key].isPresent())
            continue;
        motorAt(place[NodeKey], network);
        m_isOfMotor = true;
    }
    const auto readNumber = [&](const QString &key, int limit, int (*actual)(KVRMotorDevice &)) {
        if (!place[key].isPresent())
            return;
        const int wanted = place[key].number(0, limit);
        m_words += QStringLiteral("at %1 %2").arg(key).arg(wanted);
        m_nodeChecks +=
            [=](const Stage &stage) { return std::abs(actual(*motorOf(stage)) - wanted) <= most; };
    };
    readNumber(PercentKey, MaxPercent, [](KVRMotorDevice &motor) { return int{motor.position()}; });
    readNumber(PositionKey, KVRMotorDevice::UnsetPosition - 1,
               [](KVRMotorDevice &motor) { return int{motor.positionPulses()}; });
    if (tolerance.isPresent())
        m_words += QStringLiteral("give or take %1").arg(most);
    if (place[StateKey].isPresent()) {
        const auto state = place[StateKey].key<KVRMotor::State>();
        m_words += keyOf(state);
        m_nodeChecks += [=](const Stage &stage) { return motorOf(stage)->status().state == state; };
    }
    const VOXJsonPlace settings = place[SettingsKey];
    if (settings.isPresent() && settings.isObjectOf(network.settings(m_addr).keys())) {
        m_settings = settings.value().toObject();
        m_words += compact(m_settings);
        m_nodeChecks += [addr = m_addr, wanted = m_settings](const Stage &stage) {
            return contains(stage.simulation.settings(addr), wanted);
        };
    }
    if (m_nodeChecks.isEmpty())
        place.fail(QStringLiteral("needs one of percent, position, state, settings"));
}

Expectation::Verdict Expectation::judge(const Stage &stage, Begin *begin) const
{
    const bool isOver = stage.line.nowMs() >= begin->ms + m_ms;
    if (m_kind == Frames)
        return judgeFrames(stage, begin, isOver);
    const bool isRight = m_kind == Exit ? stage.program.hasEndedWith(m_number) : isNodeRight(stage);
    if (m_kind == Exit && stage.program.hasEnded())
        return isRight ? Met : Failed;
    if (m_isWhole && isRight != m_isWanted)
        return Failed;
    if (m_isWhole ? isOver : isRight)
        return Met;
    return isOver ? Failed : Open;
}

Expectation::Verdict Expectation::judgeFrames(const Stage &stage, Begin *begin, bool isOver) const
{
    const WitnessBus &line = stage.line;
    begin->next = std::max(begin->next, line.first());
    while (begin->next < line.count()) {
        if (!matches(line.at(begin->next++), *begin))
            continue;
        // What has been met is not met again by the next step.
        begin->behind = begin->next;
        if (++begin->count < m_number || m_isWhole)
            continue;
        begin->frame = begin->behind;
        return Met;
    }
    if (m_isWhole && begin->count > m_number)
        return Failed;
    if (!isOver)
        return Open;
    if (!m_isWhole || begin->count != m_number)
        return Failed;
    begin->frame = std::max(begin->frame, begin->behind);
    return Met;
}

bool Expectation::matches(const WitnessBus::Sight &sight, const Begin &begin) const
{
    return sight.item.isTaken() && sight.ms <= begin.ms + m_ms
        && std::all_of(m_frameChecks.begin(), m_frameChecks.end(),
                       [&](const auto &check) { return check(sight.item.frame); });
}

bool Expectation::isNodeRight(const Stage &stage) const
{
    return std::all_of(m_nodeChecks.begin(), m_nodeChecks.end(),
                       [&](const auto &check) { return check(stage); });
}

QString Expectation::complaint(const Stage &stage, const Begin &begin) const
{
    const QString wanted = m_isWanted ? QStringLiteral("expected ") : QStringLiteral("expected no ");
    const QString text = wanted + m_words.join(QLatin1Char(' '));
    if (m_kind == Exit)
        return QStringLiteral("%1; it %2").arg(text, stage.program.fate());
    if (m_kind == Node)
        return QStringLiteral("%1; it is %2").arg(text, nodeText(stage));
    return QStringLiteral("%1; it %2")
        .arg(text,
             begin.count == 0 ? QStringLiteral("never came")
                              : QStringLiteral("came ") + counted(begin.count, "time"));
}

/// How the node is, as far as it was asked for.
QString Expectation::nodeText(const Stage &stage) const
{
    QStringList words;
    KVRMotorDevice *motor = stage.simulation.node<KVRMotorDevice>(m_addr);
    if (m_isOfMotor)
        words += QStringLiteral("at percent %1 position %2 %3")
                     .arg(motor->position())
                     .arg(motor->positionPulses())
                     .arg(keyOf(motor->status().state));
    if (!m_settings.isEmpty()) {
        QJsonObject actual = stage.simulation.settings(m_addr);
        const QStringList keys = actual.keys();
        for (const QString &key : keys) {
            if (!m_settings.contains(key))
                actual.remove(key);
        }
        words += compact(actual);
    }
    return words.join(QLatin1Char(' '));
}
