#ifndef FAULTBUS_H
#define FAULTBUS_H

#include "transport/voxbus.h"
#include "vox/sim/faultrule.h"

#include <QHash>

/// Stands between emulated nodes and the line: brings them what comes, and their answers to the line, as the
/// rules want them to look there.
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
    /// The command that a node was last asked, by its address; that of all at the broadcast's.
    QHash<unsigned int, unsigned char> m_requests;
};

#endif
