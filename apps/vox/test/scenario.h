#ifndef SCENARIO_H
#define SCENARIO_H

#include "vox/test/action.h"
#include "vox/test/expectation.h"

#include <QJsonObject>
#include <QStringList>

#include <optional>
#include <vector>

class VOXJsonPlace;
class VOXSimulation;

/// A test of a program that talks to a network: the network, the program, and what happens, step by step.
///
///     {"network": OBJECT or FILE, "bus": "udp", "pty:" or URL, "line": "4800:5-40", "speed": 1, "seed": 1,
///      "run": [PROGRAM, ARGUMENT...], "timeout": "60s",
///      "steps": [{"at": TIME, "do": {...}}, {"expect": {...}}, {"never": {...}}]}
///
/// "at" counts from the end of the step before, and for the first from the start of the program. Files and
/// programs are relative to the folder of the scenario.
struct Scenario
{
    struct Step
    {
        /// "steps[3].expect", and its line in the file.
        QString path;
        int line = 0;
        int atMs = 0;
        /// A step either does something or expects something.
        Action action;
        std::optional<Expectation> expectation;
    };

    /// Reads @p fileName. False if there is a mistake; @p problem names it with the file, the line and the
    /// path: "lunch.json:12: steps[3].expect.within: ...".
    static bool read(const QString &fileName, Scenario *scenario, QString *problem);
    /// Gives @p simulation the network, and whatever else is said of it. False only if a file of the network
    /// has changed since.
    bool fill(VOXSimulation *simulation, QString *problem) const;

    /// As it was named.
    QString fileName;
    QString folder;
    /// Empty if the network is in the scenario.
    QString networkFile;
    QJsonObject network;
    /// "udp", "pty:" or another bus's URL, on the side of the nodes.
    QString bus;
    /// The pace of the line, as of VOXSimulation::setLine(); empty for none.
    QString line;
    unsigned int speed = 1;
    quint32 seed = 1;
    QStringList run;
    int timeoutMs = 0;
    std::vector<Step> steps;

private:
    void readSetUp(const VOXJsonPlace &root);
    void readSteps(const VOXJsonPlace &place, const VOXSimulation &simulation);
};

#endif
