#ifndef ANSWERTIMES_H
#define ANSWERTIMES_H

#include <QtGlobal>

#include <vector>

/// How long answers have taken. Keeps a thousand of them at most, spread evenly over all that have come.
class AnswerTimes
{
public:
    void add(qint64 ns);

    int count() const { return m_count; }
    /// Milliseconds within which @p share of the answers came, 0 to 1; 1 is the worst of all. There has to be
    /// an answer.
    double ms(double share) const;

private:
    std::vector<qint64> m_kept;
    int m_count = 0;
    // Of so many answers one is kept.
    int m_step = 1;
    qint64 m_worstNs = 0;
};

#endif
