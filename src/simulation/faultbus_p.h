#ifndef VOX_SIMULATION_FAULTBUS_P_H
#define VOX_SIMULATION_FAULTBUS_P_H

#include "simulation/faultrules_p.h"

#include <vox/transport/voxbus.h>

#include <QHash>

/// Stands between emulated nodes and the line. It brings frames from the line to the nodes, and puts their
/// answers on the line with the faults that the rules want.
class VOX_SIMULATION_EXPORT FaultBus : public VOXBus
{
    Q_OBJECT

public:
    /// @p rules must outlive it. Without @p line, which stays the caller's, it is closed.
    FaultBus(VOXBus &line, FaultRules &rules);
    ~FaultBus() override;

    int write(const QByteArray &frame) override;
    bool open() override { return m_line && m_line->open(); }
    void close() override
    {
        if (m_line)
            m_line->close();
    }
    bool isOpen() const override { return m_line && m_line->isOpen(); }
    bool hasUnseenInput() const override { return false; }

public Q_SLOTS:
    bool processData() override { return false; }

private:
    void handleRequest(const BusMessage &request);

    const QPointer<VOXBus> m_line;
    FaultRules &m_rules;
    /// The last command to each node, by its address. The last one to all nodes is at the broadcast address.
    QHash<unsigned int, unsigned char> m_requests;
};

#endif
