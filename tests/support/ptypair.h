#ifndef PTYPAIR_H
#define PTYPAIR_H

#include <QObject>
#include <QString>

/// A serial line between two ports of the system: two pseudo-terminals and a wire between them.
class PtyPair : public QObject
{
public:
    PtyPair();
    ~PtyPair() override;

    /// False where the system has no pseudo-terminals.
    bool isUsable() const { return m_ends[0].master >= 0 && m_ends[1].master >= 0; }
    /// The ports are numbered 0 and 1.
    QString portName(int port) const { return m_ends[port].name; }
    /// Pulls the plug of one port.
    void unplug(int port);

private:
    struct End
    {
        int master = -1;
        int slave = -1;
        QString name;
        QObject *listener = nullptr;
    };
    void plug(End &end);
    void carry(const End &from, const End &to);

    End m_ends[2];
};

#endif
