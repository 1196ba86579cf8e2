#include "network/voxpollplan.h"

#include <tuple>

namespace {
auto fieldsOf(const VOXPollPlan &plan)
{
    return std::tie(plan.positionMs, plan.statusMs, plan.settingsMs, plan.movingMs);
}
}

QString VOXPollPlan::problem() const
{
    const struct
    {
        const char *name;
        int ms;
        bool mayBeNever;
    } times[] = {{"positionMs", positionMs, true},
                 {"statusMs", statusMs, true},
                 {"settingsMs", settingsMs, true},
                 {"movingMs", movingMs, false}};
    for (const auto &time : times) {
        if ((time.ms == 0 && time.mayBeNever) || (time.ms >= MinMs && time.ms <= MaxMs))
            continue;
        return QStringLiteral("%1 is %2; it can be %3%4 to %5 ms")
            .arg(QLatin1String(time.name))
            .arg(time.ms)
            .arg(time.mayBeNever ? QStringLiteral("0, which is never, or ") : QString())
            .arg(MinMs)
            .arg(MaxMs);
    }
    return {};
}

bool VOXPollPlan::operator==(const VOXPollPlan &other) const
{
    return fieldsOf(*this) == fieldsOf(other);
}
