#include "vox/bridge/sitecheck.h"

#include "messages/vox.h"
#include "vox/bridge/bridgelog.h"
#include "vox/bridge/linebridge.h"
#include "vox/bridge/publisher.h"
#include "vox/console.h"
#include "vox/signalwatcher.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <vector>

namespace {
constexpr int LookMs = 100;
/// So long nothing new has to come, and so long is waited at most.
constexpr int QuietLooks = 25;
constexpr int MostLooks = 900;
constexpr int MaxNamed = 8;

/// Takes everything, and prints it if it is to.
class Printer : public MessageSink
{
public:
    bool isReady() const override { return true; }
    bool wantsWrite() const override { return false; }
    bool send(const MqttMessage &message) override
    {
        printLine(QString::fromUtf8(message.topic + ' ' + message.payload));
        return true;
    }
};

/// All lines of a site, until nothing new comes from them.
class Survey
{
public:
    explicit Survey(const SiteConfig &site)
        : publisher(printer)
    {
        for (int i = 0; i < site.lines.size(); ++i)
            lines.push_back(std::make_unique<LineBridge>(site, i, publisher));
    }

    /// Also tells what the lines notice.
    void tell()
    {
        for (const auto &line : lines)
            QObject::connect(line.get(), &LineBridge::noticed, line.get(),
                             [](BridgeLog::Level, const QString &sentence) {
                                 printError(QStringLiteral("bridge"), printable(sentence));
                             });
    }

    /// False if a signal has ended it.
    bool run()
    {
        const SignalWatcher signalWatcher;
        QEventLoop loop;
        bool isInterrupted = false;
        QObject::connect(&signalWatcher, &SignalWatcher::interrupted, &loop, [&] {
            isInterrupted = true;
            loop.quit();
        });
        for (const auto &line : lines)
            line->start();
        int quiet = 0;
        int looks = 0;
        int changes = -1;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, &loop, [&] {
            const bool isScanned =
                std::all_of(lines.begin(), lines.end(), [](const auto &line) { return line->isScanned(); });
            quiet = isScanned && changes == publisher.changes() ? quiet + 1 : 0;
            changes = publisher.changes();
            if (quiet >= QuietLooks || ++looks >= MostLooks)
                loop.quit();
        });
        timer.start(LookMs);
        loop.exec();
        return !isInterrupted;
    }

    Printer printer;
    Publisher publisher;
    std::vector<std::unique_ptr<LineBridge>> lines;
};

QString namesOf(const QVector<unsigned int> &addrs)
{
    QStringList names;
    for (int i = 0; i < std::min<int>(MaxNamed, static_cast<int>(addrs.size())); ++i)
        names += VOX::toString(addrs.at(i));
    if (addrs.size() > MaxNamed)
        names += QStringLiteral("and %1 more").arg(addrs.size() - MaxNamed);
    return names.join(QStringLiteral(", "));
}
}

int checkSite(const SiteConfig &site)
{
    Survey survey(site);
    if (!survey.run())
        return Failure;
    bool isGood = true;
    for (const auto &line : survey.lines) {
        const QVector<unsigned int> silent = line->silent();
        QString text = QStringLiteral("line %1, %2: ").arg(line->config().name, line->config().bus.text);
        if (line->isOnline())
            text += QStringLiteral("%1 answer").arg(counted(line->answering(), "node"));
        else
            text += line->problem();
        if (line->isOnline() && !silent.isEmpty())
            text += QStringLiteral("; silent: %1").arg(namesOf(silent));
        isGood = isGood && line->isOnline() && silent.isEmpty();
        printLine(text);
    }
    return isGood ? Success : Failure;
}

int printTopics(const SiteConfig &site)
{
    Survey survey(site);
    survey.tell();
    if (!survey.run())
        return Failure;
    for (const auto &line : survey.lines)
        line->settle();
    survey.publisher.setLive(true);
    QEventLoop loop;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &loop, [&] {
        if (!survey.publisher.isBusy())
            loop.quit();
    });
    timer.start(LookMs);
    loop.exec();
    return Success;
}
