#ifndef SCENARIORUN_H
#define SCENARIORUN_H

#include "simulation/voxsimulation.h"
#include "vox/test/expectation.h"
#include "vox/test/program.h"
#include "vox/test/scenario.h"
#include "vox/test/stage.h"

#include <functional>
#include <memory>

/// What has come of a scenario.
struct ScenarioResult
{
    bool isMet() const { return failure.isEmpty(); }

    QString fileName;
    /// Empty if all was as expected; else what was not, in lines.
    QString failure;
    double seconds = 0;
    /// What the program has printed.
    QByteArray output;
    /// What went over the line last, if it was not as expected; and how much more before that.
    std::vector<LineItem> items;
    std::size_t forgotten = 0;
};

/// One run of a scenario, from the start of its program to the end of all that this has started.
class ScenarioRun
{
public:
    /// @p scenario must outlive it. @p isInterrupted is asked again and again; once it is true, the run ends.
    ScenarioRun(const Scenario &scenario, std::function<bool()> isInterrupted);

    /// Runs it, once, and processes events meanwhile.
    ScenarioResult run();

private:
    bool setUp(QString *problem);
    bool take(const Scenario::Step &step);
    bool wait(const std::function<bool()> &condition);
    QString trouble() const;
    bool fail(const QString &failure);
    QString evidence() const;
    QStringList command(const QString &hostUrl) const;

    const Scenario &m_scenario;
    std::function<bool()> m_isInterrupted;
    std::unique_ptr<VOXBus> m_bus;
    std::unique_ptr<WitnessBus> m_line;
    VOXSimulation m_simulation;
    Program m_program;
    /// Where the present step begins to look.
    Expectation::Begin m_begin;
    /// The number of the present step.
    std::size_t m_next = 0;
    QHash<unsigned int, VOXBus *> m_away;
    QString m_failure;
};

#endif
