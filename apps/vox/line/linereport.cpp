#include "vox/line/linereport.h"

#include "vox/console.h"

#include <QJsonArray>

namespace {
constexpr double Median = 0.5;
constexpr double P99 = 0.99;
constexpr double Worst = 1;
constexpr int Width = 9;

QString ms(const AnswerTimes &times, double share)
{
    return times.count() == 0 ? QStringLiteral("-") : QString::number(times.ms(share), 'f', 1);
}

QString row(const QString &name, const QStringList &cells)
{
    QString text = name;
    for (const QString &cell : cells)
        text += QStringLiteral(" ") + cell.rightJustified(Width);
    return text;
}

QString nodeText(unsigned int addr, const NodeStatistics &node)
{
    QStringList cells = {QString::number(node.times.count()), ms(node.times, Median), ms(node.times, P99),
                         ms(node.times, Worst)};
    for (const int number : {node.unanswered, node.late, node.damaged})
        cells += QString::number(number);
    QString text = row(VOX::toString(addr), cells);
    for (auto nack = node.nacks.begin(); nack != node.nacks.end(); ++nack)
        text += QStringLiteral("  NACK %1 %2").arg(nack.key()).arg(nack.value());
    if (node.surplus > 0)
        text += QStringLiteral("  surplus %1").arg(node.surplus);
    if (node.unasked > 0)
        text += QStringLiteral("  unasked %1").arg(node.unasked);
    return text;
}

QJsonValue msJson(const AnswerTimes &times, double share)
{
    return times.count() == 0 ? QJsonValue() : QJsonValue(times.ms(share));
}
}

QStringList reportText(const LineStatistics &statistics, const QStringList &hints)
{
    const LineStatistics::Totals &totals = statistics.totals();
    const double seconds = statistics.seconds();
    QStringList lines = {QStringLiteral("%1, %2 in %3 s: %4 frames/s, %5 bytes/s%6")
                             .arg(counted(totals.frames, "frame"), counted(totals.bytes, "byte"))
                             .arg(seconds, 0, 'f', 1)
                             .arg(totals.frames / seconds, 0, 'f', 1)
                             .arg(static_cast<double>(totals.bytes) / seconds, 0, 'f', 0)
                             .arg(statistics.load()
                                      ? QStringLiteral(", load %1 %").arg(*statistics.load(), 0, 'f', 0)
                                      : QString()),
                         QStringLiteral("%1, %2 of garbage, %3")
                             .arg(counted(totals.failed, "failed check"),
                                  counted(totals.garbageBytes, "byte"), counted(totals.breaks, "break"))};
    if (statistics.isPort())
        lines +=
            QStringLiteral("the port's driver: %1")
                .arg(statistics.portErrors()
                         ? statistics.portErrors()->toString()
                         : QStringLiteral("framing and parity errors, breaks and overruns are not counted"));
    const QMap<unsigned int, NodeStatistics> nodes = statistics.nodes();
    if (!nodes.isEmpty())
        lines += row(QStringLiteral("node  "),
                     {QStringLiteral("answers"), QStringLiteral("median ms"), QStringLiteral("p99"),
                      QStringLiteral("worst"), QStringLiteral("no answer"), QStringLiteral("late"),
                      QStringLiteral("damaged")});
    for (auto node = nodes.begin(); node != nodes.end(); ++node)
        lines += nodeText(node.key(), *node);
    if (totals.forgotten > 0)
        lines += QStringLiteral("%1 more left out").arg(counted(totals.forgotten, "node"));
    for (const QString &hint : hints)
        lines += QStringLiteral("hint: ") + hint;
    return lines;
}

QJsonObject reportJson(unsigned int addr, const NodeStatistics &node)
{
    QJsonObject nacks;
    for (auto nack = node.nacks.begin(); nack != node.nacks.end(); ++nack)
        nacks.insert(nack.key(), nack.value());
    return {{QStringLiteral("address"), VOX::toString(addr)},
            {QStringLiteral("requests"), node.requests},
            {QStringLiteral("answers"), node.times.count()},
            {QStringLiteral("medianMs"), msJson(node.times, Median)},
            {QStringLiteral("p99Ms"), msJson(node.times, P99)},
            {QStringLiteral("worstMs"), msJson(node.times, Worst)},
            {QStringLiteral("unanswered"), node.unanswered},
            {QStringLiteral("late"), node.late},
            {QStringLiteral("lateOrLost"), node.lateOrLost},
            {QStringLiteral("surplus"), node.surplus},
            {QStringLiteral("damaged"), node.damaged},
            {QStringLiteral("failedChecks"), node.failed},
            {QStringLiteral("unasked"), node.unasked},
            {QStringLiteral("frames"), node.frames},
            {QStringLiteral("byteCount"), node.bytes},
            {QStringLiteral("nacks"), nacks}};
}

QJsonObject reportJson(const LineStatistics &statistics, const QStringList &hints)
{
    const LineStatistics::Totals &totals = statistics.totals();
    const double seconds = statistics.seconds();
    const QMap<unsigned int, NodeStatistics> nodes = statistics.nodes();
    QJsonArray array;
    int late = 0;
    int surplus = 0;
    int unanswered = 0;
    for (auto node = nodes.begin(); node != nodes.end(); ++node) {
        array += reportJson(node.key(), *node);
        late += node->late;
        surplus += node->surplus;
        unanswered += node->unanswered;
    }
    QJsonObject all{
        {QStringLiteral("frames"), totals.frames},
        {QStringLiteral("byteCount"), totals.bytes},
        {QStringLiteral("seconds"), seconds},
        {QStringLiteral("framesPerSecond"), totals.frames / seconds},
        {QStringLiteral("bytesPerSecond"), static_cast<double>(totals.bytes) / seconds},
        {QStringLiteral("loadPercent"), statistics.load() ? QJsonValue(*statistics.load()) : QJsonValue()},
        {QStringLiteral("failedChecks"), totals.failed},
        {QStringLiteral("garbageBytes"), totals.garbageBytes},
        {QStringLiteral("breaks"), totals.breaks},
        {QStringLiteral("requests"), totals.requests},
        {QStringLiteral("unanswered"), unanswered},
        {QStringLiteral("late"), late},
        {QStringLiteral("surplus"), surplus},
        {QStringLiteral("echoes"), totals.echoes},
        {QStringLiteral("clashes"), totals.clashes},
        {QStringLiteral("forgottenNodes"), totals.forgotten},
        {QStringLiteral("nodes"), array},
        {QStringLiteral("hints"), QJsonArray::fromStringList(hints)}};
    if (statistics.isPort())
        all.insert(QStringLiteral("port"),
                   statistics.portErrors() ? statistics.portErrors()->toJson() : QJsonValue());
    return all;
}
