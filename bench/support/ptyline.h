#ifndef PTYLINE_H
#define PTYLINE_H

#include <QString>

#include <functional>
#include <memory>

class QIODevice;
class QSocketNotifier;
class TimedLine;

/// A line of 4800 bit/s with 11 bits a byte between a port of the system, for a host, and nodes in this
/// program, whose answers take their time.
class PtyLine
{
public:
    /// Answers begin @p leastTurnMs to @p leastTurnMs + 35 milliseconds after they have been written.
    explicit PtyLine(int leastTurnMs);
    ~PtyLine();
    Q_DISABLE_COPY_MOVE(PtyLine)

    const QString &portName() const { return m_portName; }
    /// The nodes' end, open. For the caller, once.
    QIODevice *takeNodesEnd();

    /// Called with what the host writes, before it is on the line.
    std::function<void(const QByteArray &)> onHostBytes;

private:
    void relayFromHost();

    int m_master;
    // Keeps the port alive while the host has not opened it.
    int m_port = -1;
    QString m_portName;
    std::unique_ptr<TimedLine> m_hostEnd;
    std::unique_ptr<TimedLine> m_nodesEnd;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

#endif
