#ifndef VOX_SIMULATION_FAULTCLOCK_P_H
#define VOX_SIMULATION_FAULTCLOCK_P_H

#include "simulation/nodetable_p.h"
#include "simulation/voxfaultbus_p.h"

#include <QBasicTimer>
#include <QElapsedTimer>

/// Makes the faults that go by the clock: nodes that jabber, and nodes that are away for a while.
class FaultClock : public QObject
{
public:
    /// Both must outlive it.
    FaultClock(VOXFaultRules &rules, const NodeTable &nodes);

    /// Puts all nodes on @p bus, and begins the faults. Null ends them, and takes the nodes from their bus.
    void setBus(VOXFaultBus *bus);
    /// Begins the faults that are new, and lets nodes come back whose fault has gone.
    void update();
    /// Puts @p node on the bus, or takes it off, as it is to be.
    void place(KVRDevice &node) const;

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void placeAll() const;
    bool isAway(VOX::Addr node) const;
    /// Does what is due, and gives the nodes that are to jabber now.
    QVector<VOX::Addr> strikeAll();
    void strikeAway(FaultRule &rule, qint64 now);
    bool strikeJabber(FaultRule &rule, qint64 now);
    void jabber(VOX::Addr addr);

    VOXFaultRules &m_rules;
    const NodeTable &m_nodes;
    VOXFaultBus *m_bus = nullptr;
    QElapsedTimer m_clock;
    QBasicTimer m_timer;
};

#endif
