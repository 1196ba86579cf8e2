#ifndef EXPECTATION_H
#define EXPECTATION_H

#include "vox/test/witnessbus.h"

#include <QJsonObject>
#include <QStringList>
#include <QVector>

#include <functional>

class VOXJsonPlace;
class VOXSimulation;
struct Stage;

/// What a step of a scenario expects: frames, how a node is, or the end of the program.
class Expectation
{
public:
    enum Verdict { Open, Met, Failed };
    /// Where a step begins to look.
    struct Begin
    {
        qint64 ms = 0;
        /// Frames before this one are past.
        std::size_t frame = 0;
        ///@{
        /// How far it has looked, how many of the frames up to there count, and what is behind the last one
        /// of these.
        std::size_t next = 0;
        int count = 0;
        std::size_t behind = 0;
        ///@}
    };

    /// Reads the "expect" of a step, one of
    ///
    ///     {"command": NAME, "from": ADDRESS, "to": ADDRESS or "all", "group": ADDRESS, "fields": {...},
    ///      "count": 1}
    ///     {"node": NODE, "percent": 50, "position": 3000, "tolerance": 1, "state": KEY, "settings": {...}}
    ///     {"exit": 0}
    ///
    /// each with "within": TIME, or, but for the last, with "for": TIME, and then all of that time counts. A
    /// mistake is one of @p place.
    static Expectation expectAt(const VOXJsonPlace &place, const VOXSimulation &network);
    /// Reads the "never" of a step: the first two, with "for".
    static Expectation neverAt(const VOXJsonPlace &place, const VOXSimulation &network);

    /// How it stands at the moment. When it is met, @p begin is moved behind what has met it.
    Verdict judge(const Stage &stage, Begin *begin) const;
    /// What was expected, and what is instead.
    QString complaint(const Stage &stage, const Begin &begin) const;
    /// Whether it is about the end of the program.
    bool isExit() const { return m_kind == Exit; }

private:
    enum Kind { Frames, Node, Exit };

    void readTime(const VOXJsonPlace &place);
    void readFrames(const VOXJsonPlace &place);
    void readFields(const VOXJsonPlace &place, unsigned char command);
    void readNode(const VOXJsonPlace &place, const VOXSimulation &network);
    Verdict judgeFrames(const Stage &stage, Begin *begin, bool isOver) const;
    bool matches(const WitnessBus::Sight &sight, const Begin &begin) const;
    bool isNodeRight(const Stage &stage) const;
    QString nodeText(const Stage &stage) const;

    Kind m_kind = Frames;
    /// Each of them has to hold for a frame that counts, or for a node.
    QVector<std::function<bool(const VOXMessage &)>> m_frameChecks;
    QVector<std::function<bool(const Stage &)>> m_nodeChecks;
    unsigned int m_addr = 0;
    bool m_isOfMotor = false;
    QJsonObject m_settings;
    /// How many frames, or the code with which the program ends.
    int m_number = 1;
    int m_ms = 0;
    /// Whether all of the time counts.
    bool m_isWhole = false;
    bool m_isWanted = true;
    /// What it expects, for people.
    QStringList m_words;
};

#endif
