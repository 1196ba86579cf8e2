#include "vox/test/testcommand.h"

#include "vox/command.h"
#include "vox/console.h"
#include "vox/line/pcapfile.h"
#include "vox/outcome.h"
#include "vox/signalwatcher.h"
#include "vox/test/junitfile.h"
#include "vox/test/scenario.h"
#include "vox/test/scenariorun.h"

#include <QDir>
#include <QFile>
#include <QSet>

#include <algorithm>
#include <functional>
#include <limits>

namespace {
void print(const ScenarioResult &result, bool isJson)
{
    if (isJson) {
        QJsonObject object{{QStringLiteral("scenario"), result.fileName},
                           {QStringLiteral("met"), result.isMet()},
                           {QStringLiteral("seconds"), result.seconds}};
        if (!result.isMet())
            object.insert(QStringLiteral("failure"), result.failure);
        printJson(object);
        return;
    }
    printLine(QStringLiteral("%1  %2  %3 s")
                  .arg(result.isMet() ? QStringLiteral("ok    ") : QStringLiteral("failed"), result.fileName)
                  .arg(result.seconds, 0, 'f', 1));
    const QStringList lines = result.failure.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines)
        printLine(QStringLiteral("    ") + printable(line));
}

/// A name in @p folder, after the scenario, that has not been given out before.
QString nameFor(const ScenarioResult &result, const QString &folder, QSet<QString> *given)
{
    const QString base = QDir(folder).filePath(QFileInfo(result.fileName).completeBaseName());
    QString name = base;
    for (int number = 2; given->contains(name); ++number)
        name = QStringLiteral("%1-%2").arg(base).arg(number);
    given->insert(name);
    return name;
}

/// Writes what went over the line, and what the program printed.
bool keep(const ScenarioResult &result, const QString &name, QString *problem)
{
    PcapWriter capture;
    if (!capture.open(name + QStringLiteral(".pcap"), problem))
        return false;
    QFile output(name + QStringLiteral(".txt"));
    const bool isWritten = std::all_of(result.items.begin(), result.items.end(),
                                       [&](const LineItem &item) { return capture.write(item); })
        && output.open(QIODevice::WriteOnly) && output.write(result.output) == result.output.size()
        && output.flush();
    if (isWritten && result.forgotten > 0)
        printError(QStringLiteral("test"),
                   QStringLiteral("%1.pcap has the last %2 frames; there were %3 before them")
                       .arg(name)
                       .arg(result.items.size())
                       .arg(result.forgotten));
    if (!isWritten)
        *problem = QStringLiteral("cannot write %1.pcap and %1.txt").arg(name);
    return isWritten;
}

bool readAll(const QStringList &names, std::vector<Scenario> *scenarios, QString *problem)
{
    for (const QString &name : names) {
        scenarios->emplace_back();
        if (!Scenario::read(name, &scenarios->back(), problem))
            return false;
    }
    return true;
}

/// Runs @p scenarios one after the other, until the user interrupts. Hands each result to @p take, which may
/// change it.
std::vector<ScenarioResult> runAll(const std::vector<Scenario> &scenarios,
                                   const std::function<void(ScenarioResult *)> &take)
{
    const SignalWatcher signalWatcher;
    bool isInterrupted = false;
    QObject::connect(&signalWatcher, &SignalWatcher::interrupted, [&] { isInterrupted = true; });
    std::vector<ScenarioResult> results;
    for (const Scenario &scenario : scenarios) {
        if (isInterrupted)
            break;
        results.push_back(ScenarioRun(scenario, [&] { return isInterrupted; }).run());
        take(&results.back());
    }
    return results;
}
}

int runTest(const QStringList &arguments)
{
    CommandLine line(
        QStringLiteral("test"),
        QStringLiteral(
            "Runs scenarios: each starts a simulated network and a program under test, lets "
            "things happen, and compares what the program does with what is expected of it. Ends with 0 if "
            "all is as expected, 1 if something is not, and 2 if there is a mistake in a file, and then "
            "none is run."),
        QStringLiteral("vox test %1").arg(CommandLine::examplePath(QStringLiteral("scenario/lunch.json"))),
        CommandLine::JsonOption);
    line.addArgument(QStringLiteral("scenarios"),
                     QStringLiteral("JSON files; docs/tester.md describes them."),
                     QStringLiteral("SCENARIO.json..."));
    const QCommandLineOption junit(QStringLiteral("junit"),
                                   QStringLiteral("Writes a report for CI servers, in JUnit's format."),
                                   QStringLiteral("FILE"));
    const QCommandLineOption keeping(
        QStringLiteral("keep"),
        QStringLiteral(
            "Keeps a capture of the line, its last 100000 frames, and what the program printed, of each "
            "scenario that fails, in this folder."),
        QStringLiteral("DIR"));
    line.addOptions({junit, keeping});
    if (!line.parse(arguments, 1, std::numeric_limits<int>::max()))
        return line.exitCode();
    std::vector<Scenario> scenarios;
    QString problem;
    if (!readAll(line.words(), &scenarios, &problem))
        return line.fail(problem);
    JUnitFile report(line.parser().value(junit));
    if (line.parser().isSet(junit) && !report.open(&problem))
        return line.fail(problem);
    const QString folder = line.parser().value(keeping);
    if (line.parser().isSet(keeping) && !QDir().mkpath(folder))
        return line.fail(QStringLiteral("cannot make the folder %1").arg(folder));

    outliveReader();
    QSet<QString> given;
    const std::vector<ScenarioResult> results = runAll(scenarios, [&](ScenarioResult *result) {
        print(*result, line.isJson());
        QString mistake;
        if (!folder.isEmpty() && !result->isMet()
            && !keep(*result, nameFor(*result, folder, &given), &mistake))
            problem = mistake;
        // Many scenarios would be many frames.
        result->items = {};
    });
    const auto failures = std::count_if(results.begin(), results.end(),
                                        [](const ScenarioResult &result) { return !result.isMet(); });
    if (!line.isJson() && scenarios.size() > 1)
        printLine(QStringLiteral("%1 of %2 as expected")
                      .arg(results.size() - static_cast<std::size_t>(failures))
                      .arg(counted(qint64(scenarios.size()), "scenario")));
    if (!problem.isEmpty() || (line.parser().isSet(junit) && !report.write(results, &problem))) {
        printError(QStringLiteral("test"), problem);
        return Failure;
    }
    return failures == 0 && results.size() == scenarios.size() ? Success : Failure;
}
