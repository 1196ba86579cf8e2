#ifndef VOX_SIMULATION_VOXFAULTRULES_P_H
#define VOX_SIMULATION_VOXFAULTRULES_P_H

#include <vox/messages/voxmessage.h>
#include <vox/simulation/voxfault.h>

#include <QVector>

#include <random>
#include <vector>

/// A fault in force.
struct FaultRule
{
    /// As #dueMs.
    static constexpr qint64 NotBegun = -1;

    void stop()
    {
        dueMs = NotBegun;
        isAway = false;
    }

    VOXFault fault;
    /// When something happens next, if the fault goes by the clock.
    qint64 dueMs = NotBegun;
    /// Whether its nodes are away.
    bool isAway = false;
};

/// An answer on its way to the line, and what the faults have done to it.
struct FaultyAnswer
{
    /// In line form.
    QByteArray bytes;
    int delayMs = 0;
    int copies = 1;
};

/// The faults in force, and the random numbers. The same seed makes the same faults again.
class VOX_SIMULATION_EXPORT VOXFaultRules
{
public:
    explicit VOXFaultRules(quint32 seed = 0)
        : m_seed(seed)
        , m_random(seed)
    {
    }

    std::vector<FaultRule> &rules() { return m_rules; }
    QVector<VOXFault> faults() const;
    void setFaults(const QVector<VOXFault> &faults);
    void add(const VOXFault &fault) { m_rules.push_back({fault}); }
    void remove(int index) { m_rules.erase(m_rules.begin() + index); }

    quint32 seed() const { return m_seed; }
    void setSeed(quint32 seed)
    {
        m_seed = seed;
        m_random.seed(seed);
    }

    /// Applies all faults that fit to @p answer, which answers the request @p requestCmd.
    FaultyAnswer applyTo(const VOXMessage &answer, unsigned char requestCmd);
    /// Throws the dice for @p fault, and counts it if it happens.
    bool happens(VOXFault &fault);
    /// What a node that jabbers says: @p frame or random bytes, in line form.
    QByteArray gibberish(const VOXMessage &frame);

private:
    QByteArray noise(int count);

    std::vector<FaultRule> m_rules;
    quint32 m_seed;
    std::mt19937 m_random;
};

#endif
