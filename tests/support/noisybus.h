#ifndef NOISYBUS_H
#define NOISYBUS_H

#include "simulation/voxfaultrules_p.h"

#include <utility>

/// A bus of the kind @p Base whose frames look on the line as the rules want.
template <typename Base>
class NoisyBus : public Base
{
public:
    /// @p rules must outlive it.
    template <typename... Arguments>
    explicit NoisyBus(VOXFaultRules &rules, Arguments &&...arguments)
        : Base(std::forward<Arguments>(arguments)...)
        , m_rules(rules)
    {
    }

    int write(const QByteArray &frame) override
    {
        const FaultyAnswer faulty = m_rules.applyTo(VOXMessage(BusMessage(frame)), 0);
        int result = 0;
        for (int copy = 0; copy < faulty.copies && result == 0; ++copy)
            result = Base::writeLine(faulty.bytes);
        return result;
    }

private:
    VOXFaultRules &m_rules;
};

#endif
