#include "vox/test/scenario.h"

#include "simulation/voxjsonplace_p.h"
#include "simulation/voxsimulation.h"
#include "transport/voxbusurl.h"
#include "vox/test/jsonlines.h"
#include "vox/test/scenarioplaces.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <limits>

namespace {
constexpr int MaxSteps = 10000;
constexpr int MaxWords = 1000;
constexpr int MaxSpeed = 1000;
constexpr int DefaultTimeoutMs = 60000;

const QString NetworkKey = QStringLiteral("network");
const QString BusKey = QStringLiteral("bus");
const QString LineKey = QStringLiteral("line");
const QString SpeedKey = QStringLiteral("speed");
const QString SeedKey = QStringLiteral("seed");
const QString RunKey = QStringLiteral("run");
const QString TimeoutKey = QStringLiteral("timeout");
const QString StepsKey = QStringLiteral("steps");
const QString AtKey = QStringLiteral("at");
const QString DoKey = QStringLiteral("do");
const QString ExpectKey = QStringLiteral("expect");
const QString NeverKey = QStringLiteral("never");

Scenario::Step stepAt(const VOXJsonPlace &place, const VOXSimulation &simulation)
{
    Scenario::Step step;
    int verbs = 0;
    for (const QString &verb : {DoKey, ExpectKey, NeverKey}) {
        const VOXJsonPlace what = place[verb];
        if (!what.isPresent())
            continue;
        ++verbs;
        step.path = what.path();
        if (verb == DoKey)
            step.action = actionAt(what, simulation);
        else if (verb == ExpectKey)
            step.expectation = Expectation::expectAt(what, simulation);
        else
            step.expectation = Expectation::neverAt(what, simulation);
    }
    if (place.isObjectOf({AtKey, DoKey, ExpectKey, NeverKey}) && verbs != 1)
        place.fail(QStringLiteral("is to have one of do, expect and never"));
    if (place[AtKey].isPresent())
        step.atMs = durationAt(place[AtKey]);
    return step;
}

QString mistakeInLine(const QString &fileName, int line, const QString &mistake)
{
    return QStringLiteral("%1:%2: %3").arg(fileName).arg(line).arg(mistake);
}

bool readFile(const QString &fileName, QByteArray *text, QJsonObject *object, QString *problem)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = QStringLiteral("cannot read %1: %2").arg(fileName, file.errorString());
        return false;
    }
    *text = file.readAll();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(*text, &error);
    *object = document.object();
    if (document.isObject())
        return true;
    *problem = error.error == QJsonParseError::NoError
        ? QStringLiteral("%1:1: is to hold a JSON object").arg(fileName)
        : mistakeInLine(fileName, static_cast<int>(text->left(error.offset).count('\n')) + 1,
                        error.errorString());
    return false;
}
}

bool Scenario::read(const QString &fileName, Scenario *scenario, QString *problem)
{
    problem->clear();
    QByteArray text;
    QJsonObject object;
    if (!readFile(fileName, &text, &object, problem))
        return false;
    scenario->fileName = fileName;
    scenario->folder = QFileInfo(fileName).absolutePath();
    const VOXJsonPlace root(object, QString(), problem);
    root.isObjectOf({NetworkKey, BusKey, LineKey, SpeedKey, SeedKey, RunKey, TimeoutKey, StepsKey});
    scenario->readSetUp(root);
    VOXSimulation simulation;
    QString mistake;
    if (root.ok() && !scenario->fill(&simulation, &mistake))
        *problem = scenario->networkFile.isEmpty() ? QStringLiteral("%1.%2").arg(NetworkKey, mistake)
                                                   : QStringLiteral("%1: %2").arg(NetworkKey, mistake);
    if (root.ok())
        scenario->readSteps(root[StepsKey], simulation);
    if (root.ok()) {
        const JsonLines lines(text);
        for (Step &step : scenario->steps)
            step.line = lines.lineOf(step.path);
        return true;
    }
    *problem = mistakeInLine(fileName, JsonLines(text).lineOf(problem->section(QStringLiteral(": "), 0, 0)),
                             *problem);
    return false;
}

void Scenario::readSetUp(const VOXJsonPlace &root)
{
    if (root[NetworkKey].value().isObject())
        network = root[NetworkKey].value().toObject();
    else if (root[NetworkKey].value().isString())
        networkFile = QFileInfo(QStringLiteral("%1/%2").arg(folder, root[NetworkKey].text())).filePath();
    else
        root[NetworkKey].fail(QStringLiteral("is to be an object, or the name of a file"));
    bus = root[BusKey].isPresent() ? root[BusKey].text() : QStringLiteral("udp");
    VOXBusUrl url;
    QString mistake;
    if (bus != QLatin1String("udp") && !VOXBusUrl::read(bus, &url, &mistake))
        root[BusKey].fail(mistake);
    if (bus != QLatin1String("udp") && url.kind == VOXBusUrl::Serial)
        root[BusKey].fail(QStringLiteral("is to be udp, pty:, or a bus over UDP or multicast"));
    if (root[LineKey].isPresent()) {
        line = root[LineKey].text();
        if (!VOXSimulation().setLine(line, &mistake))
            root[LineKey].fail(mistake);
    }
    if (root[SpeedKey].isPresent())
        speed = static_cast<unsigned int>(root[SpeedKey].number(1, MaxSpeed));
    if (root[SeedKey].isPresent())
        seed = static_cast<quint32>(root[SeedKey].number(0, std::numeric_limits<int>::max()));
    timeoutMs = root[TimeoutKey].isPresent() ? durationAt(root[TimeoutKey]) : DefaultTimeoutMs;
    const int count = root[RunKey].size(MaxWords);
    for (int i = 0; i < count; ++i)
        run += root[RunKey].at(i).text();
    if (run.isEmpty())
        root[RunKey].fail(QStringLiteral("is to name a program"));
}

void Scenario::readSteps(const VOXJsonPlace &place, const VOXSimulation &simulation)
{
    const int count = place.size(MaxSteps);
    for (int i = 0; i < count && place.ok(); ++i)
        steps.push_back(stepAt(place.at(i), simulation));
}

bool Scenario::fill(VOXSimulation *simulation, QString *problem) const
{
    simulation->setSeed(seed);
    simulation->setTimeScale(speed);
    if (!line.isEmpty())
        simulation->setLine(line, problem);
    return networkFile.isEmpty() ? simulation->load(network, problem)
                                 : simulation->load(networkFile, problem);
}
