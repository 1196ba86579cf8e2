#include "vox/host/dailycommands.h"

#include "messages/kvr.h"
#include "messages/voxfield.h"
#include "network/voxscheduler.h"
#include "proxies/kvrbcastproxy.h"
#include "transport/voxbus.h"
#include "vox/console.h"
#include "vox/host/follow.h"
#include "vox/host/infocommand.h"
#include "vox/host/target.h"
#include "vox/outcome.h"
#include "vox/words.h"

#include <QJsonArray>

namespace {
constexpr int MaxWord = 0xffff;
constexpr int MaxByte = 0xff;
constexpr int MaxPercent = 100;
const QString TargetHelp = QStringLiteral("An address of six hexadecimal digits.");
const QString ManyHelp = QStringLiteral("An address of six hexadecimal digits, group:ADDRESS, or all.");

bool readNumber(const QString &text, int most, int *number)
{
    bool isNumber = false;
    *number = text.toInt(&isNumber);
    return isNumber && *number >= 0 && *number <= most;
}

/// The command line of a daily command: its target, and the options and words behind that.
struct Daily
{
    CommandLine line;
    Target target;
    std::unique_ptr<VOXBus> bus;
    std::unique_ptr<VOXScheduler> scheduler;

    Daily(const char *name, const char *description, const char *example, bool forMany)
        : line(QLatin1String(name), QString::fromLatin1(description), QLatin1String(example),
               CommandLine::BusOption | CommandLine::JsonOption)
        , m_name(QLatin1String(name))
        , m_forMany(forMany)
    {
        line.addArgument(QStringLiteral("target"), forMany ? ManyHelp : TargetHelp,
                         forMany ? QStringLiteral("TARGET") : QStringLiteral("ADDRESS"));
    }

    const QString &name() const { return m_name; }
    QString word(int index) const { return line.words().value(index); }

    /// False if the command is not to go on; exitCode is then the program's.
    bool parse(const QStringList &arguments, int least, int most)
    {
        if (!line.parse(arguments, least + 1, most + 1))
            return stop(line.exitCode());
        QString problem;
        if (!Target::read(word(0), &target, &problem))
            return stop(line.fail(problem));
        if (!m_forMany && target.type != VOX::P2P)
            return stop(line.fail(QStringLiteral("'%1' goes to one node at a time").arg(m_name)));
        return true;
    }
    bool open()
    {
        bus = line.openBus();
        if (!bus)
            return stop(line.exitCode());
        scheduler = std::make_unique<VOXScheduler>(bus.get());
        return true;
    }
    /// Whoever sends by this is answered by the node that was asked, and by no other. What is harmless twice
    /// is sent again while nobody answers.
    VOXBus *lane() const { return scheduler->lane(VOXScheduler::User); }

    /// Sends the command to a node, a group or all nodes, by the proxy for that. A query is one frame, and
    /// what comes of that frame is told.
    template <typename Send>
    int send(const Send &send, Asking asking = Asking::Once)
    {
        if (!open())
            return exitCode;
        if (target.type == VOX::P2P) {
            KVRMotorProxy proxy(target.addr, asking == Asking::Once ? lane() : bus.get());
            return ask(target.addr, asking, [&] { return send(proxy); }).print(m_name, line.isJson());
        }
        if (target.type == VOX::GROUP) {
            KVRGroupProxy proxy(target.addr, bus.get());
            return collect(send(proxy));
        }
        KVRBCastProxy proxy(bus.get());
        return collect(send(proxy));
    }

    int exitCode = Success;

private:
    bool stop(int code)
    {
        exitCode = code;
        return false;
    }

    /// Nodes are not asked to answer. Those that refuse all the same are named.
    int collect(const BusPendingCall &call) const
    {
        call.waitForFinished();
        QJsonArray refusals;
        const QList<BusMessage> replies = call.replies();
        for (const BusMessage &answer : replies) {
            const VOXMessage reply(answer);
            const QString status = KVR::toString(KVR::getNackReply(reply));
            const QString addr = VOX::toString(reply.srcAddr(false));
            refusals += QJsonObject{{QStringLiteral("address"), addr}, {QStringLiteral("status"), status}};
            if (!line.isJson())
                printLine(QStringLiteral("%1 NACK %2").arg(addr, status));
        }
        if (call.isError())
            return Outcome(call).print(m_name, line.isJson());
        if (line.isJson())
            printJson({{QStringLiteral("sent"), true}, {QStringLiteral("refusals"), refusals}});
        else
            printLine(QStringLiteral("sent"));
        return Success;
    }

    QString m_name;
    bool m_forMany;
};

int runMove(const QStringList &arguments)
{
    Daily daily("move", "Moves up or down for a time.", "vox move 000101 down --time 2000", true);
    daily.line.addArgument(QStringLiteral("direction"), QStringLiteral("up or down."),
                           QStringLiteral("DIRECTION"));
    const QCommandLineOption time(QStringLiteral("time"),
                                  QStringLiteral("For how long; 10 to 2550 ms, 1000 without it."),
                                  QStringLiteral("MS"), QStringLiteral("1000"));
    const QCommandLineOption slow(QStringLiteral("slow"), QStringLiteral("At the slow speed."));
    daily.line.addOptions({time, slow});
    if (!daily.parse(arguments, 1, 1))
        return daily.exitCode;
    constexpr int UnitMs = 10;
    int timeMs = 0;
    const bool isUp = daily.word(1) == QLatin1String("up");
    if (!isUp && daily.word(1) != QLatin1String("down"))
        return daily.line.fail(QStringLiteral("'%1' is neither up nor down").arg(daily.word(1)));
    if (!daily.line.readNumber(time, UnitMs, MaxByte * UnitMs, &timeMs))
        return daily.line.exitCode();
    const KVRMotor::SpeedType speed = daily.line.parser().isSet(slow) ? KVRMotor::SPEED_SLOW
        : isUp                                                        ? KVRMotor::SPEED_UP
                                                                      : KVRMotor::SPEED_DOWN;
    return daily.send([&](auto &proxy) {
        return proxy.ctrlMove(isUp ? KVRMotor::MOVE_UP : KVRMotor::MOVE_DOWN,
                              static_cast<quint8>(timeMs / UnitMs), speed);
    });
}

int runStop(const QStringList &arguments)
{
    Daily daily("stop", "Stops a motor where it is.", "vox stop all", true);
    if (!daily.parse(arguments, 0, 0))
        return daily.exitCode;
    return daily.send([](auto &proxy) { return proxy.ctrlStop(); });
}

int runWink(const QStringList &arguments)
{
    Daily daily("wink", "Lets a motor show which one it is.", "vox wink 000101", true);
    if (!daily.parse(arguments, 0, 0))
        return daily.exitCode;
    return daily.send([](auto &proxy) { return proxy.ctrlWink(); });
}

/// Reads the place that vox goto goes to: "up", "down", "50%", "ip:3" or pulses.
bool readPlace(const QString &text, KVRMotor::MoveToFunction *function, int *value)
{
    const QString ipPrefix = QStringLiteral("ip:");
    *value = 0;
    if (text == QLatin1String("up") || text == QLatin1String("down")) {
        *function = text == QLatin1String("up") ? KVRMotor::MOVETO_UP_LIMIT : KVRMotor::MOVETO_DOWN_LIMIT;
        return true;
    }
    if (text.endsWith(QLatin1Char('%'))) {
        *function = KVRMotor::MOVETO_PERCENT;
        return readNumber(text.chopped(1), MaxPercent, value);
    }
    if (text.startsWith(ipPrefix)) {
        *function = KVRMotor::MOVETO_IP;
        return readNumber(text.mid(ipPrefix.size()), MaxByte, value);
    }
    *function = KVRMotor::MOVETO_PULSES;
    return readNumber(text, MaxWord, value);
}

int runGoto(const QStringList &arguments)
{
    Daily daily(
        "goto",
        "Moves to a position. With --wait it shows the way, and ends with 0 only if the motor has come "
        "to rest there; Ctrl-C, and the end of whoever reads the output, stops the motor.",
        "vox goto 000101 50% --wait", true);
    daily.line.addArgument(
        QStringLiteral("position"),
        QStringLiteral("up, down, percent (50%), pulses (1200) or an intermediate position "
                       "(ip:2)."),
        QStringLiteral("POSITION"));
    const QCommandLineOption wait(QStringLiteral("wait"),
                                  QStringLiteral("Wait until the motor has arrived."));
    daily.line.addOptions({wait});
    if (!daily.parse(arguments, 1, 1))
        return daily.exitCode;
    KVRMotor::MoveToFunction function = KVRMotor::MOVETO_PULSES;
    int value = 0;
    if (!readPlace(daily.word(1), &function, &value))
        return daily.line.fail(
            QStringLiteral("'%1' is no position: up, down, 0% to 100%, ip:1 and pulses are%2")
                .arg(daily.word(1),
                     didYouMean(daily.word(1), {QStringLiteral("up"), QStringLiteral("down")})));
    // A number that may have been meant as percent.
    if (function == KVRMotor::MOVETO_PULSES && value <= MaxPercent)
        printError(daily.name(),
                   QStringLiteral("%1, not percent; '%2%' is percent")
                       .arg(counted(value, "pulse"), QString::number(value)));
    const bool isWaiting = daily.line.parser().isSet(wait);
    if (isWaiting && daily.target.type != VOX::P2P)
        return daily.line.fail(QStringLiteral("--wait is for one node at a time"));
    const std::unique_ptr<MotorFollower> follower(isWaiting ? new MotorFollower(daily.line.isJson())
                                                            : nullptr);
    const int sent =
        daily.send([&](auto &proxy) { return proxy.ctrlMoveTo(function, static_cast<quint16>(value)); });
    if (!isWaiting || sent != Success)
        return sent;
    KVRMotorProxy proxy(daily.target.addr, daily.lane());
    return follower->follow(proxy, function, static_cast<quint16>(value));
}

int runLockCommand(const QStringList &arguments, const char *name, const char *description,
                   const char *example, KVRMotor::NetworkLockFunction function)
{
    Daily daily(name, description, example, false);
    const QCommandLineOption priority(
        QStringLiteral("priority"),
        QStringLiteral("0 to 255, 100 without it; a lock of a higher one is not touched."),
        QStringLiteral("PRIORITY"), QStringLiteral("100"));
    daily.line.addOptions({priority});
    if (!daily.parse(arguments, 0, 0))
        return daily.exitCode;
    int value = 0;
    if (!daily.line.readNumber(priority, 0, MaxByte, &value))
        return daily.line.exitCode();
    return daily.send(
        [&](auto &proxy) { return proxy.ctrlNetworkLock(function, 0, static_cast<quint8>(value)); });
}

int runLock(const QStringList &arguments)
{
    return runLockCommand(arguments, "lock", "Locks a motor where it is.", "vox lock 000101",
                          KVRMotor::LOCK_HERE);
}

int runUnlock(const QStringList &arguments)
{
    return runLockCommand(arguments, "unlock", "Releases the lock of a motor.", "vox unlock 000101",
                          KVRMotor::LOCK_RELEASE);
}

int runQuery(const QStringList &arguments, const char *name, const char *description, const char *example,
             BusPendingCall (KVRMotorProxy::*query)())
{
    Daily daily(name, description, example, false);
    if (!daily.parse(arguments, 0, 0))
        return daily.exitCode;
    return daily.send([&](KVRMotorProxy &proxy) { return (proxy.*query)(); }, Asking::Again);
}

int runStatus(const QStringList &arguments)
{
    return runQuery(arguments, "status", "What a motor is doing, and why.", "vox status 000101",
                    &KVRMotorProxy::getMotorStatus);
}

int runPosition(const QStringList &arguments)
{
    return runQuery(arguments, "position", "Where a motor stands.", "vox position 000101",
                    &KVRMotorProxy::getMotorPosition);
}

int runLimits(const QStringList &arguments)
{
    return runQuery(arguments, "limits", "The end limits of a motor.", "vox limits 000101",
                    &KVRMotorProxy::getMotorLimits);
}

int runLabel(const QStringList &arguments)
{
    Daily daily("label", "Reads the label of a node, or writes it.", "vox label 000101", false);
    daily.line.addArgument(QStringLiteral("text"), QStringLiteral("Up to 16 characters of Latin-1."),
                           QStringLiteral("[TEXT]"));
    if (!daily.parse(arguments, 0, 1))
        return daily.exitCode;
    const QByteArray label = daily.word(1).toLatin1();
    if (label.size() > KVR::LabelLength || QString::fromLatin1(label) != daily.word(1))
        return daily.line.fail(QStringLiteral("a label has up to 16 characters of Latin-1"));
    const bool isWriting = daily.line.words().size() > 1;
    return daily.send(
        [&](KVRMotorProxy &proxy) { return isWriting ? proxy.setNodeLabel(label) : proxy.getNodeLabel(); },
        isWriting ? Asking::Once : Asking::Again);
}
}

QVector<Command> dailyCommands()
{
    return {
        {QStringLiteral("move"), QStringLiteral("moves up or down for a time"), runMove},
        {QStringLiteral("stop"), QStringLiteral("stops a motor"), runStop},
        {QStringLiteral("goto"), QStringLiteral("moves to a position"), runGoto},
        {QStringLiteral("wink"), QStringLiteral("lets a motor show which one it is"), runWink},
        {QStringLiteral("lock"), QStringLiteral("locks a motor where it is"), runLock},
        {QStringLiteral("unlock"), QStringLiteral("releases a lock"), runUnlock},
        {QStringLiteral("status"), QStringLiteral("what a motor is doing"), runStatus},
        {QStringLiteral("position"), QStringLiteral("where a motor stands"), runPosition},
        {QStringLiteral("limits"), QStringLiteral("the end limits of a motor"), runLimits},
        {QStringLiteral("label"), QStringLiteral("reads or writes a label"), runLabel},
        {QStringLiteral("info"), QStringLiteral("all that a node tells of itself"), runInfo},
    };
}
