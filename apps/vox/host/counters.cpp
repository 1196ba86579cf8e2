#include "vox/host/counters.h"

#include "framework/busobject.h"
#include "messages/kvr.h"
#include "messages/voxcall.h"
#include "messages/voxfield.h"
#include "transport/voxbus.h"
#include "vox/outcome.h"
#include "vox/texttable.h"
#include "vox/words.h"

#include <algorithm>
#include <array>

namespace {
/// A question, and the fields of its answer that count errors.
struct Source
{
    unsigned char cmd;
    QStringList names;
};

const std::array<Source, 7> &sources()
{
    const auto list = [](const char *names) { return QString::fromLatin1(names).split(QLatin1Char(' ')); };
    static const std::array<Source, 7> all = {{
        {KVR::GET_NETWORK_ERROR_STAT,
         list(
             "txFailures collisions rxDataError unknownMessage msgLengthError rxFifoFull txFifoFull crcError "
             "bundleSizeError")},
        {KVR::GET_NETWORK_STAT, list("busyCount supervisionFailure")},
        {KVR::DIAG_GET_THERMAL_COUNT, list("thermalCount")},
        {KVR::DIAG_GET_OBSTACLE_COUNT, list("obstacleCount")},
        {KVR::DIAG_GET_POWER_COUNT, list("powerCount")},
        {KVR::DIAG_GET_RESET_COUNT, list("resetCount")},
        {KVR::DIAG_GET_ENCODER_ERRORS, list("encoderErrCount")},
    }};
    return all;
}
}

QStringList Counters::names()
{
    QStringList names;
    for (const Source &source : sources())
        names += source.names;
    return names;
}

std::optional<Counters::Values> Counters::read(VOX::Addr node, VOXBus *lane, QString *problem)
{
    Values values;
    for (const Source &source : sources()) {
        BusObject host(lane, nullptr);
        const Outcome outcome = ask(node, Asking::Once, [&] {
            return host.call(VOXCall(KVR::findCmd(source.cmd), VOX::HostAddr, node, 0));
        });
        *problem = outcome.error();
        if (!outcome.isAnswered())
            return std::nullopt;
        const auto fields = VOXField::valuesOf(outcome.reply());
        for (const VOXField::Value &field : fields) {
            const QString name = QLatin1String(field.field->name);
            if (source.names.contains(name))
                values.insert(name, field.value.toInt());
        }
    }
    return values;
}

QJsonObject Counters::toJson(const Values &values)
{
    QJsonObject object;
    for (auto value = values.begin(); value != values.end(); ++value)
        object.insert(value.key(), value.value());
    return object;
}

Counters::Values Counters::changes(const Values &before, const Values &after)
{
    Values changes;
    for (auto value = after.begin(); value != after.end(); ++value) {
        if (before.contains(value.key()) && before[value.key()] != value.value())
            changes.insert(value.key(), value.value() - before[value.key()]);
    }
    return changes;
}

void CountersTable::addRow(VOX::Addr node, const QString &label,
                           const std::optional<Counters::Values> &before,
                           const std::optional<Counters::Values> &after)
{
    m_rows += {VOX::toString(node), label, before, after};
}

/// "15", "15 +3" if it has grown to that, "-" if the node does not tell it.
QString CountersTable::Row::cell(const QString &name) const
{
    if (!after || !after->contains(name))
        return QStringLiteral("-");
    const int value = after->value(name);
    const int change = before ? Counters::changes(*before, *after).value(name) : 0;
    if (change == 0)
        return QString::number(value);
    return QStringLiteral("%1 %2%3").arg(value).arg(QLatin1String(change > 0 ? "+" : "")).arg(change);
}

QVector<CountersTable::Line> CountersTable::toLines() const
{
    QStringList shown;
    QStringList zero;
    const QStringList names = Counters::names();
    for (const QString &name : names) {
        const bool isShown = std::any_of(m_rows.begin(), m_rows.end(), [&](const Row &row) {
            const QString cell = row.cell(name);
            return cell != QLatin1String("0") && cell != QLatin1String("-");
        });
        (isShown ? shown : zero) += name;
    }
    const bool hasLabels =
        std::any_of(m_rows.begin(), m_rows.end(), [](const Row &row) { return !row.label.isEmpty(); });
    QStringList headings = {QStringLiteral("node"), QStringLiteral("label")};
    if (!hasLabels)
        headings.removeLast();
    for (const QString &name : qAsConst(shown))
        headings += QLatin1Char(' ') + name;
    TextTable table(headings);
    for (const Row &row : m_rows) {
        QStringList cells = {row.node, row.label};
        if (!hasLabels)
            cells.removeLast();
        if (!row.after)
            cells.last() = (cells.last() + QStringLiteral(" (no answer)")).trimmed();
        for (const QString &name : qAsConst(shown))
            cells += row.cell(name);
        table.addRow(cells);
    }
    QVector<Line> lines;
    const QStringList texts = table.toLines();
    for (int i = 0; i < texts.size(); ++i) {
        const bool isMarked = i > 0
            && (!m_rows.at(i - 1).after
                || (m_rows.at(i - 1).before && *m_rows.at(i - 1).before != *m_rows.at(i - 1).after));
        lines += {texts.at(i), isMarked};
    }
    if (!zero.isEmpty())
        lines += {wrapped(QStringLiteral("0 everywhere: %1").arg(zero.join(QStringLiteral(", ")))), false};
    return lines;
}
