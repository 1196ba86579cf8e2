#include "vox/host/pingcommand.h"

#include "transport/voxbus.h"
#include "vox/command.h"
#include "vox/console.h"
#include "vox/host/nodechoice.h"
#include "vox/host/pinger.h"
#include "vox/outcome.h"
#include "vox/signalwatcher.h"
#include "vox/texttable.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QRandomGenerator>

namespace {
const QString Name = QStringLiteral("ping");
constexpr int MaxCount = 100000;
constexpr double Median = 0.5;
constexpr double Worst = 1;

QString msText(double ms)
{
    return ms < 0 ? QStringLiteral("-") : QStringLiteral("%1 ms").arg(ms, 0, 'f', 1);
}

QStringList toCells(const PingFigures &figures)
{
    QStringList cells;
    for (const int number : {figures.sent, figures.answered, figures.late, figures.damaged, figures.lost()})
        cells += QString::number(number);
    return cells + QStringList{msText(figures.answerMs(Median)), msText(figures.answerMs(Worst))};
}

/// What has become of the pings, for both forms of output.
class Report
{
public:
    Report(const Pinger &pinger, const NodeChoice &choice)
        : m_pinger(pinger)
        , m_choice(choice)
    {
        for (const auto &[addr, figures] : pinger.figures()) {
            const bool isListed = choice.isListed(addr);
            if (isListed && figures.sent > 0 && figures.lost() == figures.sent)
                m_missing += VOX::toString(addr);
            else if (!isListed && !figures.times.empty())
                m_unlisted += VOX::toString(addr);
        }
    }

    void printText() const
    {
        const auto begin = [this](const QString &name, const QString &label) {
            return hasList() ? QStringList{name, label} : QStringList{name};
        };
        TextTable table(begin(QStringLiteral("node"), QStringLiteral("label"))
                        + QStringList{QStringLiteral(" sent"), QStringLiteral(" answered"),
                                      QStringLiteral(" late"), QStringLiteral(" damaged"),
                                      QStringLiteral(" lost"), QStringLiteral(" median"),
                                      QStringLiteral(" worst")});
        QVector<bool> isBad = {false};
        const auto add = [&](const QString &name, const QString &label, const PingFigures &figures) {
            table.addRow(begin(name, label) + toCells(figures));
            isBad += figures.answered < figures.sent;
        };
        for (const auto &[addr, figures] : m_pinger.figures())
            add(VOX::toString(addr), printable(m_choice.labelOf(addr)), figures);
        add(QStringLiteral("sum"), counted(static_cast<qint64>(m_pinger.figures().size()), "node"),
            m_pinger.sum());
        const QStringList lines = table.toLines();
        for (int i = 0; i < lines.size(); ++i)
            printLine(isBad.at(i) ? inRed(lines.at(i)) : lines.at(i));
        if (hasList() && !m_missing.isEmpty())
            printLine(inRed(QStringLiteral("in %1, and silent: %2").arg(listName(), m_missing.join(Comma))));
        if (hasList() && !m_unlisted.isEmpty())
            printLine(QStringLiteral("not in %1: %2").arg(listName(), m_unlisted.join(Comma)));
    }

    void printJson() const
    {
        for (const auto &[addr, figures] : m_pinger.figures()) {
            QJsonObject object = figures.toJson();
            object.insert(QStringLiteral("address"), VOX::toString(addr));
            if (hasList()) {
                object.insert(QStringLiteral("label"), m_choice.labelOf(addr));
                object.insert(QStringLiteral("listed"), m_choice.isListed(addr));
            }
            ::printJson(object);
        }
        QJsonObject sum = m_pinger.sum().toJson();
        sum.insert(QStringLiteral("nodes"), static_cast<int>(m_pinger.figures().size()));
        if (hasList()) {
            sum.insert(QStringLiteral("missing"), QJsonArray::fromStringList(m_missing));
            sum.insert(QStringLiteral("unlisted"), QJsonArray::fromStringList(m_unlisted));
        }
        ::printJson({{QStringLiteral("sum"), sum}});
    }

private:
    static inline const QString Comma = QStringLiteral(", ");
    bool hasList() const { return !listName().isEmpty(); }
    const QString &listName() const { return m_choice.listName(); }

    const Pinger &m_pinger;
    const NodeChoice &m_choice;
    QStringList m_missing;
    QStringList m_unlisted;
};
}

int runPing(const QStringList &arguments)
{
    CommandLine line(
        Name,
        QStringLiteral(
            "Asks nodes for echoes, one after the other, and prints for each how many were lost, came "
            "after hosts have given up (late), or came damaged, with the median and the worst "
            "time from request to answer; then the sum. A refusal is an answer, too. Ends with 1 "
            "if an answer was lost or damaged. Ctrl-C ends it early, with the table."),
        QStringLiteral("vox ping 000101 000401 --count 2"), CommandLine::BusOption | CommandLine::JsonOption);
    const QCommandLineOption count(QStringLiteral("count"),
                                   QStringLiteral("Ask each node so often, 5 times without it."),
                                   QStringLiteral("N"), QStringLiteral("5"));
    line.addOptions({count});
    NodeChoice choice;
    NodeChoice::addTo(line);
    if (!line.parse(arguments))
        return line.exitCode();
    int times = 0;
    if (!line.readNumber(count, 1, MaxCount, &times))
        return line.exitCode();
    const std::unique_ptr<VOXBus> bus = choice.openBus(line);
    if (!bus)
        return choice.exitCode();

    const SignalWatcher signalWatcher;
    Pinger pinger(*bus, choice.addrs(), times, QRandomGenerator::global()->generate());
    QEventLoop loop;
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, &pinger, &Pinger::stop);
    QObject::connect(&pinger, &Pinger::finished, &loop, &QEventLoop::quit, Qt::QueuedConnection);
    QObject::connect(&pinger, &Pinger::progressed, &loop, [&] {
        printProgress(QStringLiteral("round %1 of %2, %3 without an answer")
                          .arg(pinger.round())
                          .arg(times)
                          .arg(pinger.unanswered()));
    });
    pinger.start();
    loop.exec();
    printProgress(QString());
    const Report report(pinger, choice);
    line.isJson() ? report.printJson() : report.printText();
    if (!pinger.problem().isEmpty())
        printError(Name, pinger.problem());
    const PingFigures sum = pinger.sum();
    return pinger.problem().isEmpty() && sum.lost() + sum.damaged == 0 ? Success : Failure;
}
