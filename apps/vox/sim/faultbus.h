#ifndef FAULTBUS_H
#define FAULTBUS_H

#include "transport/voxbus.h"
#include "vox/sim/faultrule.h"

#include <QHash>

/// Stands between emulated nodes and the line. It brings frames from the line to the nodes, and puts their
/// answers on the line with the faults that the rules want.
class FaultBus : public VOXBus
{
    Q_OBJECT

public:
    /// @p line and @p rules must outlive it.
    FaultBus(VOXBus &line, FaultRules &rules);
    ~FaultBus() override;

    int write(const QByteArray &frame) override;
    bool open() override { return m_line.open(); }
    void close() override { m_line.close(); }
    bool isOpen() const override { return m_line.isOpen(); }
    bool hasUnseenInput() const override { return false; }

public Q_SLOTS:
    bool processData() override { return false; }

private:
    void handleRequest(const BusMessage &request);

    VOXBus &m_line;
    FaultRules &m_rules;
    /// The last command to each node, by its address. The last one to all nodes is at the broadcast address.
    QHash<unsigned int, unsigned char> m_requests;
};

#endif
