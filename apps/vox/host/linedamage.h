#ifndef LINEDAMAGE_H
#define LINEDAMAGE_H

#include <QObject>

class VOXBus;

/// Counts the answers that came damaged, by the bytes that a bus drops.
class LineDamage : public QObject
{
public:
    /// @p bus must outlive it.
    explicit LineDamage(const VOXBus &bus);

    /// A question to one node begins. What was dropped before is damage of the broadcast before it.
    void beginQuestion();
    /// It is over. Bytes in place of its answer are one damaged answer; bytes beside it are none. After a
    /// damaged one, waits until the bus has dropped the rest of it: that rest would take the next answer
    /// along.
    void endQuestion(bool isAnswered);

    /// How many there were at least.
    int answers() const;

private:
    int answersInRun() const;
    void waitUntilQuiet();

    const VOXBus &m_bus;
    /// Dropped one after the other.
    int m_run = 0;
    int m_answers = 0;
    bool m_isQuestion = false;
};

#endif
