#ifndef NAMEGUARD_H
#define NAMEGUARD_H

#include <QByteArray>

/// Finds out whether another bridge has the same name.
///
/// A bridge that starts claims its name, and one that has it already answers. So the one that came later
/// learns of it, and what a killed one has left at the broker does not count. Equal client identifiers would
/// be no guard: two clients would take the connection from each other for ever.
class NameGuard
{
public:
    enum Verdict {
        Nothing,
        Answer, ///< Say who has the name.
        Yield ///< Another bridge has it.
    };

    NameGuard();

    /// What stands in the client identifier, too.
    const QByteArray &id() const { return m_id; }
    /// What is said while the name is claimed, and once it is had.
    QByteArray payload() const;
    bool isLive() const { return m_isLive; }
    void setLive() { m_isLive = true; }
    /// What to do about @p payload, which somebody has just said.
    Verdict judge(const QByteArray &payload) const;

private:
    QByteArray m_id;
    qint64 m_startedMs;
    bool m_isLive = false;
};

#endif
