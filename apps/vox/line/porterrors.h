#ifndef PORTERRORS_H
#define PORTERRORS_H

#include <QJsonObject>
#include <QString>

#include <functional>
#include <optional>

struct serial_icounter_struct;

/// What the driver of a serial port has counted of what came wrong. The bytes themselves do not tell: a port
/// may leave out each byte that is damaged.
struct PortErrors
{
    /// Asks the driver of an open port for its counters. False if it has none.
    using Asking = std::function<bool(int descriptor, serial_icounter_struct *counters)>;

    /// All that has been counted since the driver was loaded. Empty if it counts nothing. @p ask stands in
    /// for the system.
    static std::optional<PortErrors> of(int descriptor, const Asking &ask = nullptr);

    /// What has been counted from @p start on.
    PortErrors since(const PortErrors &start) const;

    QString toString() const;
    QJsonObject toJson() const;

    quint32 framing = 0;
    quint32 parity = 0;
    quint32 breaks = 0;
    quint32 overruns = 0;
};

#endif
