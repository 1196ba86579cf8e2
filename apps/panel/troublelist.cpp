#include "panel/troublelist.h"

#include <QDateTime>

#include <algorithm>

namespace {
constexpr qint64 MsPerMinute = 60000;
/// An answer that takes so long on a line that is not busy is slow.
constexpr int SlowMs = 120;
constexpr int SlowTimesMedian = 3;
/// Of so many calls and more, one in so many may stay unanswered.
constexpr quint64 NoisyCalls = 20;
constexpr quint64 NoisyShare = 20;

QString tr(const char *text, int n = -1)
{
    return TroubleList::tr(text, nullptr, n);
}

QString nameOf(const VOXNetworkNode &node)
{
    return node.label().isEmpty() ? node.addressText() : node.label();
}

QString sinceText(qint64 ms)
{
    if (ms < 0)
        return tr("has never answered");
    const int minutes = static_cast<int>(ms / MsPerMinute);
    return minutes < 1 ? tr("no answer for %1 s").arg(ms / 1000) : tr("no answer for %1 min").arg(minutes);
}

QString heardText(qint64 ms)
{
    if (ms < 0)
        return tr("Never heard. Check its power, its plug on the line, and its address.");
    return tr("Last heard %1. Check its power and its plug on the line.")
        .arg(QDateTime::currentDateTime().addMSecs(-ms).toString(QStringLiteral("HH:mm:ss")));
}

int median(QVector<int> values)
{
    if (values.isEmpty())
        return -1;
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

QVector<int> answerTimes(const VOXNetwork &network)
{
    QVector<int> times;
    const auto nodes = network.nodes();
    for (const VOXNetworkNode *const node : nodes) {
        if (node->answerMs() >= 0)
            times += node->answerMs();
    }
    return times;
}

Trouble lineTrouble(PanelLine &line)
{
    Trouble trouble{Trouble::Line, {}, line.problem(), &line, nullptr};
    trouble.title = line.isClosed() ? tr("Line %1: the bus is not open").arg(line.name())
                                    : tr("Line %1: nothing is heard").arg(line.name());
    return trouble;
}

/// Nothing if it is well.
std::optional<Trouble> nodeTrouble(PanelLine &line, VOXNetworkNode &node, int medianMs)
{
    Trouble trouble{Trouble::Dead, {}, {}, &line, &node};
    const auto *const motor = qobject_cast<VOXNetworkMotor *>(&node);
    const auto figures = line.network().scheduler().nodeFigures(node.address());
    const quint64 calls = figures.answered + figures.unanswered;
    if (node.presence() == VOXNetworkNode::Down) {
        trouble.title = QStringLiteral("%1: %2").arg(nameOf(node), sinceText(node.silentForMs()));
        trouble.text = heardText(node.silentForMs());
    } else if (node.isDoubled()) {
        trouble.kind = Trouble::Doubled;
        trouble.title = tr("%1: two nodes have this address").arg(node.addressText());
        trouble.text = tr("Unplug one of them, give the other another address, and plug it in again.");
    } else if (motor && motor->positionAgeMs() >= 0 && !motor->percent()
               && node.presence() == VOXNetworkNode::Up) {
        trouble.kind = Trouble::NoLimits;
        trouble.title = tr("%1: no limits").arg(nameOf(node));
        trouble.text = tr("Up and down are not set, so it has no position. Set them at the motor.");
    } else if (medianMs >= 0 && node.answerMs() > std::max(SlowMs, SlowTimesMedian * medianMs)) {
        trouble.kind = Trouble::Slow;
        trouble.title = tr("%1: answers in %2 ms").arg(nameOf(node)).arg(node.answerMs());
        trouble.text = tr("The others need %1 ms. A gateway or a long way may be between; else change it.")
                           .arg(medianMs);
    } else if (calls >= NoisyCalls && figures.unanswered * NoisyShare > calls) {
        trouble.kind = Trouble::Noisy;
        trouble.title =
            tr("%1: %2 of %3 questions unanswered").arg(nameOf(node)).arg(figures.unanswered).arg(calls);
        trouble.text = tr("Check its plug and the cable to it; keep the cable away from mains.");
    } else {
        return std::nullopt;
    }
    return trouble;
}
}

QVector<Trouble> Trouble::of(PanelLine &line)
{
    const VOXNetwork &network = line.network();
    if (network.isSending() && !line.isOpen())
        return {lineTrouble(line)};
    QVector<Trouble> troubles;
    for (const QString &sentence : line.notices()) {
        // Doubled addresses are told node by node.
        if (!sentence.startsWith(QLatin1String("Two nodes")))
            troubles.append({Noticed, TroubleList::tr("Line %1").arg(line.name()), sentence, &line, nullptr});
    }
    const int medianMs = median(answerTimes(network));
    const auto nodes = network.nodes();
    for (VOXNetworkNode *const node : nodes) {
        if (const std::optional<Trouble> trouble = nodeTrouble(line, *node, medianMs))
            troubles += *trouble;
    }
    if (!line.planStretch().isEmpty())
        troubles.append({Stretched, TroubleList::tr("Line %1 is full").arg(line.name()), line.planStretch(),
                         &line, nullptr});
    std::stable_sort(troubles.begin(), troubles.end(),
                     [](const Trouble &one, const Trouble &other) { return one.kind < other.kind; });
    return troubles;
}

TroubleList::TroubleList(const ShadeModel &model, const QVector<PanelLine *> &lines, QObject *parent)
    : QAbstractListModel(parent)
    , m_model(model)
    , m_lines(lines)
{
    connect(&model, &ShadeModel::rowsAboutToBeRemoved, this, &TroubleList::forget);
}

/// No row keeps a node that goes.
void TroubleList::forget()
{
    beginResetModel();
    m_rows.clear();
    endResetModel();
}

void TroubleList::update()
{
    QVector<Trouble> rows;
    for (PanelLine *const line : m_lines)
        rows += Trouble::of(*line);
    const bool isSame = rows.size() == m_rows.size()
        && std::equal(rows.cbegin(), rows.cend(), m_rows.cbegin(),
                      [](const Trouble &one, const Trouble &other) { return one.isSame(other); });
    if (isSame) {
        // Words may have changed; nothing that is being clicked on jumps.
        for (int row = 0; row < rows.size(); ++row) {
            const bool isOther = rows[row].title != m_rows[row].title || rows[row].text != m_rows[row].text;
            m_rows[row] = rows[row];
            if (isOther)
                Q_EMIT dataChanged(index(row), index(row));
        }
    } else {
        beginResetModel();
        m_rows = rows;
        endResetModel();
    }
    m_summary = makeSummary();
    Q_EMIT updated();
}

QString TroubleList::makeSummary() const
{
    QVector<int> times;
    int up = 0;
    int all = 0;
    for (const PanelLine *const line : m_lines) {
        times += answerTimes(line->network());
        const auto nodes = line->network().nodes();
        all += static_cast<int>(nodes.size());
        up += static_cast<int>(std::count_if(nodes.cbegin(), nodes.cend(), [](const VOXNetworkNode *node) {
            return node->presence() == VOXNetworkNode::Up;
        }));
    }
    const QString answer = tr("%1 of %2 answer").arg(up).arg(all);
    const int medianMs = median(times);
    return medianMs < 0 ? answer : answer + tr(", median %1 ms").arg(medianMs);
}

int TroubleList::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

QVariant TroubleList::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const Trouble &row = m_rows[index.row()];
    switch (role) {
    case KindRole:
        return row.kind;
    case BadRole:
        return row.isBad();
    case TitleRole:
        return row.title;
    case TextRole:
        return row.text;
    case NodeRole:
        return QVariant::fromValue<QObject *>(row.node);
    default:
        return {};
    }
}

QHash<int, QByteArray> TroubleList::roleNames() const
{
    return {
        {KindRole, "kind"}, {BadRole, "bad"}, {TitleRole, "title"}, {TextRole, "text"}, {NodeRole, "shade"}};
}
