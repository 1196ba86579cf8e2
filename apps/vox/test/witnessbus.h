#ifndef WITNESSBUS_H
#define WITNESSBUS_H

#include "transport/voxbus.h"
#include "vox/line/lineitem.h"

#include <QElapsedTimer>

#include <deque>

/// Stands between a line and emulated nodes, keeps what goes either way, and can cut the line between them.
class WitnessBus : public VOXBus
{
    Q_OBJECT

public:
    /// What was seen, and when: milliseconds since start().
    struct Sight
    {
        qint64 ms = 0;
        LineItem item;
    };

    /// Some 30 MB.
    static constexpr std::size_t MostKept = 100000;

    /// @p line must outlive it.
    explicit WitnessBus(VOXBus &line);
    ~WitnessBus() override;

    /// Time 0 is now.
    void start() { m_clock.start(); }
    qint64 nowMs() const { return m_clock.elapsed(); }
    /// How much has been seen: frames of hosts as they arrive, also while the line is cut, and what nodes put
    /// on the line. They are numbered from 0.
    std::size_t count() const { return m_forgotten + m_seen.size(); }
    /// The number of the oldest that is kept: only the last MostKept are.
    std::size_t first() const { return m_forgotten; }
    /// One that is kept.
    const Sight &at(std::size_t number) const { return m_seen[number - m_forgotten]; }

    /// While the line is cut, nodes and hosts do not hear each other.
    void setCut(bool isCut) { m_isCut = isCut; }

    int write(const QByteArray &frame) override;
    int writeLine(const QByteArray &bytes) override;
    bool open() override { return m_line.open(); }
    void close() override { m_line.close(); }
    bool isOpen() const override { return m_line.isOpen(); }
    bool hasUnseenInput() const override { return false; }

public Q_SLOTS:
    bool processData() override { return false; }

private:
    void handleFrame(const BusMessage &frame);
    void note(const QByteArray &bytes);

    VOXBus &m_line;
    bool m_isCut = false;
    QElapsedTimer m_clock;
    std::deque<Sight> m_seen;
    std::size_t m_forgotten = 0;
};

#endif
