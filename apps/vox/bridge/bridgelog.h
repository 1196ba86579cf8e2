#ifndef BRIDGELOG_H
#define BRIDGELOG_H

#include <QElapsedTimer>
#include <QString>

#include <optional>

/// Tells what a bridge notices, one line each on standard error. Of many lines in a short time the first are
/// told, and the others counted: whoever can send to the broker could fill a disk otherwise.
class BridgeLog
{
public:
    enum Level {
        Error, ///< Something does not work, and somebody has to act.
        Warning, ///< Something was not done that somebody wanted.
        Info,
        Debug ///< Each command.
    };

    /// The level that @p word names; empty if it names none.
    static std::optional<Level> levelOf(const QString &word);

    /// What is above @p most is not told.
    explicit BridgeLog(Level most)
        : m_most(most)
    {
    }

    void tell(Level level, const QString &sentence);

private:
    const Level m_most;
    QElapsedTimer m_period;
    int m_told = 0;
    int m_more = 0;
};

#endif
