#ifndef VOX_SIMULATION_VOXFAULTBUS_P_H
#define VOX_SIMULATION_VOXFAULTBUS_P_H

#include "simulation/sharedline_p.h"
#include "simulation/voxfaultrules_p.h"

#include <vox/transport/voxbus.h>

#include <QHash>

#include <memory>

/// Stands between emulated nodes and the line. It brings frames from the line to the nodes, and puts their
/// answers on the line with the faults that the rules want.
class VOX_SIMULATION_EXPORT VOXFaultBus : public VOXBus
{
    Q_OBJECT

public:
    /// @p rules must outlive it. Without @p line, which stays the caller's, it is closed.
    VOXFaultBus(VOXBus &line, VOXFaultRules &rules);
    ~VOXFaultBus() override;

    /// Lets requests and answers take their time from now on, or none if the pace is that of no line. Drops
    /// what is on its way.
    void setPace(const LinePace &pace);
    /// Puts @p bytes on the line, in line form, unless answers wait for it, or @p node is still sending.
    void sayUnasked(VOX::Addr node, const QByteArray &bytes);

    int write(const QByteArray &frame) override;
    bool open() override { return m_line && m_line->open(); }
    void close() override
    {
        if (m_line)
            m_line->close();
    }
    bool isOpen() const override { return m_line && m_line->isOpen(); }
    bool hasUnseenInput() const override { return false; }

Q_SIGNALS:
    /// Carries what was put on the line, in line form.
    void said(const QByteArray &bytes);

public Q_SLOTS:
    bool processData() override { return false; }

private:
    void handleRequest(const BusMessage &request);
    void bringToNodes(const BusMessage &request);
    void say(VOX::Addr node, const QByteArray &bytes, qint64 turn);
    void writeOut(const QByteArray &bytes);

    const QPointer<VOXBus> m_line;
    VOXFaultRules &m_rules;
    /// Null if nothing takes time.
    std::unique_ptr<SharedLine> m_time;
    /// The last command to each node, by its address. The last one to all nodes is at the broadcast address.
    QHash<unsigned int, unsigned char> m_requests;
};

#endif
