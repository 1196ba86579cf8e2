#include "vox/line/replaycommand.h"

#include "framework/busdispatcher.h"
#include "transport/voxbus.h"
#include "transport/voxbusurl.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/line/answercomparison.h"
#include "vox/line/pcapfile.h"
#include "vox/outcome.h"
#include "vox/signalwatcher.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>

namespace {
constexpr double NsPerMs = 1e6;
constexpr double MsPerSecond = 1000;
constexpr double BitsPerByte = 11;
constexpr double MinPauseMs = 0.5;
constexpr double MaxPauseMs = 1000;
/// An answer that is to be compared may take so long. Hosts wait less.
constexpr double PatienceMs = 500;

/// What goes out, and when: at the times of the capture, or as soon after them as the line and the answers
/// allow.
class Replay
{
public:
    Replay(VOXBus &bus, double speed, double msPerByte)
        : m_bus(bus)
        , m_speed(speed)
        , m_msPerByte(msPerByte)
    {
        QObject::connect(&m_signalWatcher, &SignalWatcher::interrupted, &m_loop, [this] {
            m_isInterrupted = true;
            m_loop.quit();
        });
        m_clock.start();
    }

    int sent() const { return m_sent; }

    bool sendAll(const std::vector<LineItem> &items)
    {
        return std::all_of(items.begin(), items.end(),
                           [&](const LineItem &item) { return send(item, items.front()); });
    }

    /// Sends the requests alone, and waits for the answers that they had.
    bool compareAll(const std::vector<Exchange> &exchanges, AnswerComparison *comparison)
    {
        QObject::connect(&m_bus.dispatcher(), &BusDispatcher::unhandled, &m_loop,
                         [&](const BusMessage &frame) {
                             const bool wasWaiting = comparison->isWaiting();
                             comparison->hear(VOXMessage(frame));
                             if (wasWaiting && !comparison->isWaiting())
                                 m_loop.quit();
                         });
        for (const Exchange &exchange : exchanges) {
            waitFor(exchange.request, exchanges.front().request);
            comparison->begin(exchange);
            if (!send(exchange.request, exchanges.front().request))
                return false;
            waitUntil(elapsedMs() + PatienceMs, [comparison] { return !comparison->isWaiting(); });
            if (m_isInterrupted)
                return false;
            comparison->end();
        }
        // More than the last one was to bring may come.
        waitUntil(elapsedMs() + PatienceMs);
        return !m_isInterrupted;
    }

private:
    double elapsedMs() const { return static_cast<double>(m_clock.nsecsElapsed()) / NsPerMs; }

    bool send(const LineItem &item, const LineItem &first)
    {
        const double dueMs = waitFor(item, first);
        if (m_isInterrupted)
            return false;
        if (m_bus.writeLine(item.bytes) < 0) {
            printError(QStringLiteral("replay"), QStringLiteral("cannot send: %1").arg(m_bus.errorString()));
            return false;
        }
        // A serial line takes its time, however fast the replay is wanted.
        m_freeMs = std::max(dueMs, elapsedMs()) + item.bytes.size() * m_msPerByte;
        ++m_sent;
        return true;
    }

    /// Waits until @p item is due. Gives that time.
    double waitFor(const LineItem &item, const LineItem &first)
    {
        const double ms = static_cast<double>(item.timeNs - first.timeNs) / NsPerMs / m_speed;
        const double dueMs = std::max(ms, m_freeMs);
        waitUntil(dueMs);
        return dueMs;
    }

    void waitUntil(
        double ms, const std::function<bool()> &isOver = [] { return false; })
    {
        // Timers count whole milliseconds: less than half of one is not waited for.
        for (double left = ms - elapsedMs(); left > MinPauseMs && !m_isInterrupted && !isOver();
             left = ms - elapsedMs()) {
            QTimer::singleShot(qRound(std::min(left, MaxPauseMs)), Qt::PreciseTimer, &m_loop,
                               &QEventLoop::quit);
            m_loop.exec();
        }
    }

    VOXBus &m_bus;
    double m_speed;
    double m_msPerByte;
    const SignalWatcher m_signalWatcher;
    QEventLoop m_loop;
    QElapsedTimer m_clock;
    double m_freeMs = 0;
    int m_sent = 0;
    bool m_isInterrupted = false;
};

std::vector<LineItem> requestsOf(const std::vector<Exchange> &exchanges)
{
    std::vector<LineItem> requests;
    requests.reserve(exchanges.size());
    for (const Exchange &exchange : exchanges)
        requests.push_back(exchange.request);
    return requests;
}

int compare(Replay *replay, const std::vector<Exchange> &exchanges, bool isJson)
{
    AnswerComparison comparison([isJson](const AnswerComparison::Difference &difference) {
        if (isJson)
            printJson(difference.toJson());
        else
            printLine(difference.toString());
    });
    const bool isWhole = replay->compareAll(exchanges, &comparison);
    if (isJson)
        printJson({{QStringLiteral("sentRecords"), replay->sent()},
                   {QStringLiteral("records"), int(exchanges.size())},
                   {QStringLiteral("same"), comparison.same()},
                   {QStringLiteral("different"), comparison.different()},
                   {QStringLiteral("missing"), comparison.missing()}});
    else
        printLine(QStringLiteral("%1 of %2 sent; %3 the same, %4 different, %5 missing")
                      .arg(replay->sent())
                      .arg(counted(qint64(exchanges.size()), "request"), counted(comparison.same(), "answer"))
                      .arg(comparison.different())
                      .arg(comparison.missing()));
    return isWhole && comparison.different() + comparison.missing() == 0 ? Success : Failure;
}

int sendAll(Replay *replay, const std::vector<LineItem> &items, const char *noun, bool isJson)
{
    const bool isWhole = replay->sendAll(items);
    if (isJson)
        printJson({{QStringLiteral("sentRecords"), replay->sent()},
                   {QStringLiteral("records"), int(items.size())}});
    else
        printLine(
            QStringLiteral("%1 of %2 sent").arg(replay->sent()).arg(counted(qint64(items.size()), noun)));
    return isWhole ? Success : Failure;
}
}

int runReplay(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("replay"),
        QStringLiteral("Sends what a capture holds, frames and garbage, with its timing. With --only-host, "
                       "sends the requests alone, for nodes or a simulation to answer; with --compare, also "
                       "tells which answers are not as they were."),
        QStringLiteral("vox replay line.pcap --speed 2"), CommandLine::BusOption | CommandLine::JsonOption);
    line.addArgument(QStringLiteral("capture"), QStringLiteral("As vox monitor --write makes it."),
                     QStringLiteral("FILE.pcap"));
    const QCommandLineOption speed(QStringLiteral("speed"),
                                   QStringLiteral("So many times as fast, 0.01 to 1000."),
                                   QStringLiteral("N"), QStringLiteral("1"));
    const QCommandLineOption onlyHost(
        QStringLiteral("only-host"),
        QStringLiteral("Send what hosts have sent, and neither answers nor garbage."));
    const QCommandLineOption comparing(
        QStringLiteral("compare"),
        QStringLiteral(
            "The same, and compare the answers: each that is different or missing is printed, and the exit "
            "code is 1 if there is one."));
    line.addOptions({speed, onlyHost, comparing});
    if (!line.parse(arguments, 1, 1))
        return line.exitCode();
    double factor = 0;
    if (!line.readNumber(speed, 0.01, 1000.0, &factor))
        return line.exitCode();
    std::vector<LineItem> items;
    QString problem;
    if (!readPcap(line.words().constFirst(), &items, &problem))
        return line.fail(problem);
    const bool compares = line.parser().isSet(comparing);
    const bool sendsRequests = compares || line.parser().isSet(onlyHost);
    const std::vector<Exchange> exchanges = sendsRequests ? Exchange::of(items) : std::vector<Exchange>();
    if (sendsRequests && exchanges.empty())
        return line.fail(QStringLiteral("no host has sent anything in %1").arg(line.words().constFirst()));
    const std::unique_ptr<VOXBus> bus = line.openBus();
    if (!bus)
        return line.exitCode();
    VOXBusUrl url;
    VOXBusUrl::read(line.busUrl(), &url, &problem);
    const double msPerByte = url.kind == VOXBusUrl::Serial ? BitsPerByte * MsPerSecond / url.baudRate : 0;
    Replay replay(*bus, factor, msPerByte);
    if (compares)
        return compare(&replay, exchanges, line.isJson());
    return sendsRequests ? sendAll(&replay, requestsOf(exchanges), "request", line.isJson())
                         : sendAll(&replay, items, "record", line.isJson());
}
