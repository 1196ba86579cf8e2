#ifndef VOX_SIMULATION_FAULTRULES_P_H
#define VOX_SIMULATION_FAULTRULES_P_H

#include <vox/messages/voxmessage.h>
#include <vox/simulation/voxfault.h>

#include <QVector>

#include <random>

/// An answer on its way to the line, and what the faults have done to it.
struct FaultyAnswer
{
    /// In line form.
    QByteArray bytes;
    int delayMs = 0;
    int copies = 1;
    bool isTouched = false;
};

/// The faults in force, and the random numbers. The same seed makes the same faults again.
class VOX_SIMULATION_EXPORT FaultRules
{
public:
    explicit FaultRules(quint32 seed = 0)
        : m_seed(seed)
        , m_random(seed)
    {
    }

    const QVector<VOXFault> &faults() const { return m_faults; }
    void setFaults(const QVector<VOXFault> &faults) { m_faults = faults; }
    void add(const VOXFault &fault) { m_faults += fault; }
    void remove(int index) { m_faults.remove(index); }

    quint32 seed() const { return m_seed; }
    void setSeed(quint32 seed)
    {
        m_seed = seed;
        m_random.seed(seed);
    }

    /// Applies all faults that fit to @p answer, which answers the request @p requestCmd.
    FaultyAnswer applyTo(const VOXMessage &answer, unsigned char requestCmd);

private:
    bool happens(VOXFault &fault, const VOXMessage &answer, unsigned char requestCmd);
    QByteArray noise(int count);

    QVector<VOXFault> m_faults;
    quint32 m_seed;
    std::mt19937 m_random;
};

#endif
