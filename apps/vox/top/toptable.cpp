#include "vox/top/toptable.h"

#include "messages/kvr.h"
#include "messages/voxcommandtrait.h"
#include "vox/outcome.h"

#include <QDateTime>
#include <QJsonObject>

#include <algorithm>

namespace {
constexpr qint64 NsPerMs = 1000000;
/// A failure is worth a look for so long.
constexpr qint64 WarningNs = 60 * qint64{1000000000};
/// So many requests without an answer in a row make a node silent.
constexpr int FailuresUntilSilent = 3;

constexpr int Percent = 100;
constexpr int LeastColumns = 80;
constexpr int LeastBar = 6;
constexpr int MostBar = 20;
constexpr int LabelWidth = 16;
constexpr int StateWidth = 8;
constexpr int NumberWidth = 6;
constexpr int LostWidth = 4;
constexpr int TimeWidth = 6;

QString timeText(qint64 ns)
{
    return QDateTime::fromMSecsSinceEpoch(ns / NsPerMs).toString(QStringLiteral("HH:mm:ss"));
}

/// Of the bar between its brackets: a part of what a wide terminal has more goes there.
int barWidth(int columns)
{
    constexpr int Share = 4;
    return std::clamp(LeastBar + (columns - LeastColumns) / Share, LeastBar, MostBar);
}

/// The cloth of a blind, which hangs from the left.
QString barText(std::optional<int> percent, int width)
{
    if (!percent)
        return QString(width + 2, QLatin1Char(' '));
    const QString cloth(qRound(*percent * width / double{Percent}), QLatin1Char('#'));
    return QStringLiteral("[%1]").arg(cloth.leftJustified(width, QLatin1Char('.'), true));
}

QString msText(double ms)
{
    constexpr double Short = 9.95;
    constexpr double Long = 1000;
    if (ms < 0)
        return QStringLiteral("-");
    if (ms >= Long)
        return QStringLiteral("%1 s").arg(ms / Long, 0, 'f', 1);
    return QStringLiteral("%1 ms").arg(ms, 0, 'f', ms < Short ? 1 : 0);
}

QString stateOf(const VOXNetworkMotor &motor)
{
    if (motor.isMoving())
        return motor.direction() == KVRMotor::DIRECTION_UP ? QStringLiteral("opening")
                                                           : QStringLiteral("closing");
    const auto state = motor.motorState();
    if (state == KVRMotor::STATE_BLOCKED)
        return QStringLiteral("blocked");
    if (state == KVRMotor::STATE_LOCKED || motor.isLocked().value_or(false))
        return QStringLiteral("locked");
    if (state == KVRMotor::STATE_RUNNING)
        return QStringLiteral("winking");
    return state ? QStringLiteral("stopped") : QString();
}

/// A node that lacks a query has nothing to tell by refusing it.
bool isNews(const VOXMessage &request, int status)
{
    const bool isQuery = VOXCommandTrait::of(request).kind == VOXCommandTrait::Query;
    return !isQuery || status == KVR::NACK_BUSY;
}

QJsonValue timeOrNull(qint64 ns)
{
    return ns == 0
        ? QJsonValue(QJsonValue::Null)
        : QJsonValue(QDateTime::fromMSecsSinceEpoch(ns / NsPerMs, Qt::UTC).toString(Qt::ISODateWithMs));
}

template <typename Value>
QJsonValue valueOrNull(const std::optional<Value> &value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}
}

// A row

QString TopRow::heading(int columns)
{
    return QStringLiteral("%1 %2 %3 %4 %5 %6 %7 %8 %9")
        .arg(QStringLiteral("NODE"), -int(sizeof "000000" - 1))
        .arg(QStringLiteral("LABEL"), -LabelWidth)
        .arg(QStringLiteral("CLOTH"), -(barWidth(columns) + 2))
        .arg(QString(), 4)
        .arg(QStringLiteral("STATE"), -StateWidth)
        .arg(QStringLiteral("OK"), NumberWidth)
        .arg(QStringLiteral("LOST"), LostWidth)
        .arg(QStringLiteral("MEDIAN"), TimeWidth)
        .arg(QStringLiteral("SINCE/REFUSED"));
}

QString TopRow::toString(int columns) const
{
    QString note;
    if (badSinceNs != 0)
        note = QStringLiteral("since %1").arg(timeText(badSinceNs));
    else if (!refusal.isEmpty())
        note = QStringLiteral("%1  %2").arg(refusal, timeText(refusedNs));
    const QString cloth = percent ? QStringLiteral("%1%").arg(*percent) : QStringLiteral("-");
    return QStringLiteral("%1 %2 %3 %4 %5 %6 %7 %8 ")
               .arg(address())
               .arg(label.left(LabelWidth), -LabelWidth)
               .arg(barText(percent, barWidth(columns)))
               .arg(cloth, 4)
               .arg(state, -StateWidth)
               .arg(answers, NumberWidth)
               .arg(lost(), LostWidth)
               .arg(msText(medianMs), TimeWidth)
        + note;
}

QJsonObject TopRow::toJson() const
{
    return {
        {QStringLiteral("address"), address()},
        {QStringLiteral("label"), label},
        {QStringLiteral("percent"), valueOrNull(percent)},
        {QStringLiteral("target"), valueOrNull(target)},
        {QStringLiteral("state"), state},
        {QStringLiteral("answers"), answers},
        {QStringLiteral("unanswered"), unanswered},
        {QStringLiteral("late"), late},
        {QStringLiteral("damaged"), damaged},
        {QStringLiteral("medianMs"), msOrNull(medianMs)},
        {QStringLiteral("refusal"), refusal.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(refusal)},
        {QStringLiteral("since"), timeOrNull(badSinceNs)}};
}

bool TopRow::isNews(const TopRow &other) const
{
    const auto news = [](const TopRow &row) {
        return std::make_tuple(row.label, row.percent, row.target, row.state, row.unanswered, row.damaged,
                               row.late, row.refusal, row.refusedNs, row.badSinceNs);
    };
    return news(*this) != news(other);
}

// What is heard

void TopTable::take(const LineItem &item)
{
    m_nowNs = std::max(m_nowNs, item.timeNs);
    const LineNotes notes = m_statistics.add(item);
    take(notes);
    if (item.isTaken() && item.isNack())
        takeRefusal(item, notes);
}

void TopTable::setTime(qint64 nowNs)
{
    m_nowNs = nowNs;
    take(m_statistics.setTime(nowNs));
}

void TopTable::take(const LineNotes &notes)
{
    for (const LineNote &note : notes) {
        Tally &tally = m_tallies[note.node];
        switch (note.kind) {
        case LineNote::Answered:
            ++tally.answers;
            tally.times.add(note.answerNs);
            tally.failures = 0;
            tally.damagedNs.clear();
            break;
        case LineNote::Late:
            ++tally.late;
            break;
        case LineNote::Damaged:
        case LineNote::Unanswered:
        case LineNote::LateOrLost:
            takeFailure(note);
            break;
        case LineNote::Surplus:
        case LineNote::Unasked:
        case LineNote::Twice:
        case LineNote::Clash:
            break;
        }
    }
}

void TopTable::takeFailure(const LineNote &note)
{
    // Who never answers is known by that alone.
    if (!m_network.isSending() && !m_network.node(note.node))
        m_network.add(note.node);
    Tally &tally = m_tallies[note.node];
    const bool isDamage = note.kind == LineNote::Damaged;
    if (isDamage)
        tally.damagedNs += note.request.timeNs;
    else if (tally.damagedNs.removeOne(note.request.timeNs))
        return;
    ++(isDamage ? tally.damaged : tally.unanswered);
    tally.failedNs = note.request.timeNs;
    if (note.kind == LineNote::LateOrLost)
        return;
    if (tally.failures == 0)
        tally.failingSinceNs = note.request.timeNs;
    ++tally.failures;
    tally.isDamaged = isDamage;
}

void TopTable::takeRefusal(const LineItem &item, const LineNotes &notes)
{
    const auto status = KVR::getNackReply(item.frame);
    for (const LineNote &note : notes) {
        if (note.kind != LineNote::Answered || !isNews(note.request.frame, status))
            continue;
        Tally &tally = m_tallies[note.node];
        tally.refusal = KVR::toString(status);
        tally.refusedNs = item.timeNs;
    }
}

QVector<TopRow> TopTable::rows() const
{
    QVector<TopRow> rows;
    const QVector<VOXNetworkNode *> nodes = m_network.nodes();
    for (const VOXNetworkNode *node : nodes)
        rows += rowOf(*node);
    return rows;
}

TopRow TopTable::rowOf(const VOXNetworkNode &node) const
{
    TopRow row;
    const Tally tally = m_tallies.value(node.address());
    row.addr = node.address();
    row.label = node.label();
    row.answers = tally.answers;
    row.unanswered = tally.unanswered;
    row.damaged = tally.damaged;
    row.late = tally.late;
    constexpr double Median = 0.5;
    row.medianMs = tally.times.count() > 0 ? tally.times.ms(Median) : -1;
    row.refusal = tally.refusal;
    row.refusedNs = tally.refusedNs;
    const auto *motor = qobject_cast<const VOXNetworkMotor *>(&node);
    if (motor) {
        row.percent = motor->percent();
        row.target = motor->targetPercent();
        row.state = stateOf(*motor);
        row.mark = motor->isMoving() ? TopRow::Moving : TopRow::Good;
    }
    judge(node, tally, &row);
    return row;
}

/// What is wrong with the node goes before what it does.
void TopTable::judge(const VOXNetworkNode &node, const Tally &tally, TopRow *row) const
{
    const auto isRecent = [this](qint64 ns) { return ns != 0 && m_nowNs - ns < WarningNs; };
    const bool isSilent = tally.failures >= FailuresUntilSilent || node.presence() == VOXNetworkNode::Down;
    if (tally.failures > 0 && (isSilent || tally.isDamaged)) {
        row->state = tally.isDamaged ? QStringLiteral("damaged") : QStringLiteral("silent");
        row->mark = TopRow::Bad;
        row->badSinceNs = tally.failingSinceNs;
    } else if (tally.failures > 0) {
        row->state = QStringLiteral("shaky");
        row->mark = TopRow::Warning;
    } else if (row->mark == TopRow::Good && (isRecent(tally.failedNs) || isRecent(tally.refusedNs))) {
        row->mark = TopRow::Warning;
    }
}
