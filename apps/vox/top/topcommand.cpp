#include "vox/top/topcommand.h"

#include "transport/voxbus.h"
#include "transport/voxbusurl.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/host/nodechoice.h"
#include "vox/line/pcapfile.h"
#include "vox/signalwatcher.h"
#include "vox/top/topshow.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

namespace {
const QString Name = QStringLiteral("top");
constexpr double MaxSpeed = 1000;

/// The command line of top.
struct Options
{
    CommandLine line;
    const QCommandLineOption passive{QStringLiteral("passive"),
                                     QStringLiteral("Only listen: never send anything.")};
    const QCommandLineOption speed{
        QStringLiteral("speed"),
        QStringLiteral("Play a capture so many times as fast, up to 1000; 0 plays all at once. 1 on a "
                       "screen, else 0."),
        QStringLiteral("N")};
    const QCommandLineOption compare = NodeChoice::listOption();

    Options()
        : line(Name,
               QStringLiteral(
                   "Shows the nodes of a bus, as they are now: where each blind hangs, what its motor does, "
                   "how many requests were answered and lost, and how long answers take. Red are "
                   "nodes that are silent, or whose answers come damaged. Asks the nodes, if not "
                   "told to listen; a capture is played. Keys: s sorts, / filters, p pauses, d searches, w "
                   "writes a file, q ends. Where there is no screen, prints a table each 5 s."),
               QStringLiteral("vox top --passive"), CommandLine::BusOption | CommandLine::JsonOption)
    {
        line.addArgument(QStringLiteral("capture"), QStringLiteral("A capture to play in place of a bus."),
                         QStringLiteral("[FILE.pcap]"));
        line.addOptions({passive, speed, compare});
    }

    QString capture() const { return line.words().value(0); }
    QString contradiction() const
    {
        if (capture().isEmpty())
            return line.parser().isSet(speed) ? QStringLiteral("--speed is for a capture") : QString();
        for (const QString &name : {QStringLiteral("bus"), QStringLiteral("passive")}) {
            if (line.parser().isSet(name))
                return QStringLiteral("--%1 is not for a capture").arg(name);
        }
        return QString();
    }
};

std::unique_ptr<TopLine> play(const Options &options, double speed, QString *problem)
{
    std::vector<LineItem> items;
    // What can be read of a capture that was cut off is worth to be seen.
    if (!readPcap(options.capture(), &items, problem) && items.empty())
        return nullptr;
    return std::make_unique<PlayedLine>(std::move(items), speed, QFileInfo(options.capture()).fileName());
}

std::unique_ptr<TopLine> open(const Options &options, QString *problem)
{
    VOXBusUrl url;
    *problem = QStringLiteral("--bus URL or the name of a capture is missing");
    if (options.line.busUrl().isEmpty() || !VOXBusUrl::read(options.line.busUrl(), &url, problem))
        return nullptr;
    if (url.kind == VOXBusUrl::Pty) {
        *problem = QStringLiteral("nobody talks on a new pseudo-terminal");
        return nullptr;
    }
    if (options.line.parser().isSet(options.passive))
        return TappedLine::open(url, problem);
    auto line = std::make_unique<AskingLine>(url);
    // A line that goes later is waited for; one that was never there is a mistake.
    if (!line->network().scheduler().bus()->isOpen() && !VOXBusUrl::openBus(url.text, problem))
        return nullptr;
    return line;
}

void addListed(const ListedNodes &list, VOXNetwork *network)
{
    QJsonArray nodes;
    for (auto node = list.nodes.begin(); node != list.nodes.end(); ++node)
        nodes += QJsonObject{{QStringLiteral("address"), VOX::toString(node.key())},
                             {QStringLiteral("label"), node->label}};
    network->setKnownNodes(nodes);
}

/// Shows @p line until it is ended.
int show(TopLine &line, TopShow::Form form)
{
    QString gone;
    {
        const SignalWatcher signalWatcher;
        TopShow top(line, form);
        QEventLoop loop;
        QObject::connect(&top, &TopShow::finished, &loop, &QEventLoop::quit);
        QObject::connect(&signalWatcher, &SignalWatcher::interrupted, &loop, &QEventLoop::quit);
        QObject::connect(&signalWatcher, &SignalWatcher::resized, &top, &TopShow::handleResized);
        line.onGone = [&](const QString &reason) {
            gone = reason;
            loop.quit();
        };
        loop.exec();
    }
    if (gone.isEmpty())
        return Success;
    printError(Name, QStringLiteral("%1 has gone: %2").arg(line.name(), gone));
    return Failure;
}

void dropMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    Q_UNUSED(type)
    Q_UNUSED(context)
    Q_UNUSED(text)
}
}

int runTop(const QStringList &arguments)
{
    Options options;
    CommandLine &line = options.line;
    if (!line.parse(arguments, 0, 1))
        return line.exitCode();
    QString problem = options.contradiction();
    ListedNodes list;
    if (problem.isEmpty() && line.parser().isSet(options.compare))
        list.read(line.parser().value(options.compare), &problem);
    if (!problem.isEmpty())
        return line.fail(problem);
    const TopShow::Form form = line.isJson() ? TopShow::AsJson
        : Terminal::isCapable()              ? TopShow::OnScreen
                                             : TopShow::AsTable;
    double speed = form == TopShow::OnScreen ? 1 : 0;
    if (!line.readNumber(options.speed, 0.0, MaxSpeed, &speed))
        return line.exitCode();
    const std::unique_ptr<TopLine> shown =
        options.capture().isEmpty() ? open(options, &problem) : play(options, speed, &problem);
    if (!shown)
        return line.fail(problem);
    addListed(list, &shown->network());
    queueOutput();
    // They would spoil the screen, which shows what they are about.
    if (form == TopShow::OnScreen)
        qInstallMessageHandler(dropMessage);
    return show(*shown, form);
}
