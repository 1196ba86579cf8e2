#include "network/voxscheduler.h"

#include "network/schedulercore_p.h"

#include <limits>

namespace {
/// Why there can be no such limits, in one line; empty if there can.
QString problemOf(const VOXScheduler::Limits &limits)
{
    constexpr int WholeLine = 100;
    constexpr int Most = std::numeric_limits<int>::max();
    const struct
    {
        const char *name;
        int value;
        int least;
        int most;
    } rows[] = {{"automaticLoadPercent", limits.automaticLoadPercent, 0, WholeLine},
                {"maxLoadPercent", limits.maxLoadPercent, 0, limits.automaticLoadPercent},
                {"automaticPerNode", limits.automaticPerNode, 1, Most},
                {"perNode", limits.perNode, 1, Most},
                {"all", limits.all, 1, Most},
                {"pollPeriodMs", limits.pollPeriodMs, 1, Most}};
    for (const auto &row : rows) {
        if (row.value < row.least || row.value > row.most)
            return QStringLiteral("%1 is %2; it can be %3 to %4")
                .arg(QLatin1String(row.name))
                .arg(row.value)
                .arg(row.least)
                .arg(row.most);
    }
    return {};
}
}

VOXScheduler::VOXScheduler(VOXBus *bus, QObject *parent)
    : QObject(parent)
    , m_core(std::make_unique<SchedulerCore>(*this, bus))
{
}

VOXScheduler::~VOXScheduler() = default;

bool VOXScheduler::isActive() const
{
    return m_core->bus() != nullptr;
}

VOXBus *VOXScheduler::bus() const
{
    return m_core->bus();
}

VOXBus *VOXScheduler::lane(Lane lane) const
{
    return &m_core->lane(lane);
}

void VOXScheduler::setLineRate(int bitsPerSecond)
{
    m_core->fixedLineRate = qMax(bitsPerSecond, 0);
}

int VOXScheduler::lineRate() const
{
    return m_core->lineRate();
}

bool VOXScheduler::setLimits(const Limits &limits, QString *problem)
{
    const QString reason = problemOf(limits);
    if (problem)
        *problem = reason;
    if (reason.isEmpty())
        m_core->limits = limits;
    return reason.isEmpty();
}

VOXScheduler::Limits VOXScheduler::limits() const
{
    return m_core->limits;
}

int VOXScheduler::loadPercent() const
{
    return m_core->loadPercent();
}

int VOXScheduler::queuedCalls(Lane lane) const
{
    return m_core->queue().count(lane);
}

VOXScheduler::LaneFigures VOXScheduler::figures(Lane lane) const
{
    return m_core->figures(lane);
}

VOXScheduler::NodeFigures VOXScheduler::nodeFigures(VOX::Addr node) const
{
    const Destination *known = m_core->queue().find(node & VOX::AddrMask);
    NodeFigures figures = known ? known->figures : NodeFigures();
    constexpr int Median = 50;
    figures.answerMs = known ? known->answerMs.percentile(Median, -1) : -1;
    return figures;
}

void VOXScheduler::setPollSource(PollSource source)
{
    m_core->setPollSource(std::move(source));
}

void VOXScheduler::wakePolls()
{
    m_core->wakePolls();
}

void VOXScheduler::setRepeating(VOX::Addr node, bool isRepeating)
{
    m_core->setRepeating(node & VOX::AddrMask, isRepeating);
}

void VOXScheduler::setGroupMembers(VOX::Addr group, const QVector<VOX::Addr> &members)
{
    m_core->setGroupMembers(group & VOX::AddrMask, members);
}
