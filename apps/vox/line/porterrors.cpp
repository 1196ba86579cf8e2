#include "vox/line/porterrors.h"

#include "vox/console.h"

#include <linux/serial.h>
#include <sys/ioctl.h>

namespace {
bool askSystem(int descriptor, serial_icounter_struct *counters)
{
    return ::ioctl(descriptor, TIOCGICOUNT, counters) == 0;
}
}

std::optional<PortErrors> PortErrors::of(int descriptor, const Asking &ask)
{
    serial_icounter_struct counters = {};
    if (!(ask ? ask(descriptor, &counters) : askSystem(descriptor, &counters)))
        return std::nullopt;
    const auto number = [](int value) { return static_cast<quint32>(value); };
    return PortErrors{number(counters.frame), number(counters.parity), number(counters.brk),
                      number(counters.overrun) + number(counters.buf_overrun)};
}

// The system's numbers begin anew at 0 after the greatest one, and so does this difference.
PortErrors PortErrors::since(const PortErrors &start) const
{
    return {framing - start.framing, parity - start.parity, breaks - start.breaks, overruns - start.overruns};
}

QString PortErrors::toString() const
{
    return QStringLiteral("%1, %2, %3, %4")
        .arg(counted(framing, "framing error"), counted(parity, "parity error"), counted(breaks, "break"),
             counted(overruns, "overrun"));
}

QJsonObject PortErrors::toJson() const
{
    return {{QStringLiteral("framingErrors"), qint64{framing}},
            {QStringLiteral("parityErrors"), qint64{parity}},
            {QStringLiteral("breaks"), qint64{breaks}},
            {QStringLiteral("overruns"), qint64{overruns}}};
}
