#include "panel/framelist.h"

#include "vox/line/pcapfile.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTimerEvent>

#include <algorithm>

namespace {
constexpr int RefreshMs = 200;
}

FrameList::FrameList(QObject *parent)
    : QAbstractListModel(parent)
{
}

void FrameList::add(const QByteArray &bytes, qint64 timeNs)
{
    const LineItem item = LineItem::of(bytes, timeNs);
    m_new.push_back({timeNs, bytes, item.toString(), !item.isTaken() || item.isNack()});
    if (!m_timer.isActive())
        m_timer.start(RefreshMs, this);
}

void FrameList::clear()
{
    beginResetModel();
    m_frames.clear();
    m_rows.clear();
    m_new.clear();
    m_firstNumber = m_nextNumber;
    endResetModel();
    Q_EMIT countChanged();
}

void FrameList::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QAbstractListModel::timerEvent(event);
        return;
    }
    m_timer.stop();
    takeNew();
}

void FrameList::takeNew()
{
    std::deque<qint64> rows;
    for (Frame &frame : m_new) {
        if (isMatch(frame))
            rows.push_back(m_nextNumber);
        m_frames.push_back(std::move(frame));
        ++m_nextNumber;
    }
    m_new.clear();
    const qint64 first = std::max(m_firstNumber, m_nextNumber - MostFrames);
    const auto kept = std::lower_bound(m_rows.begin(), m_rows.end(), first);
    if (kept != m_rows.begin()) {
        beginRemoveRows({}, 0, static_cast<int>(kept - m_rows.begin()) - 1);
        m_rows.erase(m_rows.begin(), kept);
        endRemoveRows();
    }
    m_frames.erase(m_frames.begin(), m_frames.begin() + (first - m_firstNumber));
    m_firstNumber = first;
    rows.erase(rows.begin(), std::lower_bound(rows.begin(), rows.end(), first));
    if (!rows.empty()) {
        beginInsertRows({}, rowCount(), rowCount() + static_cast<int>(rows.size()) - 1);
        m_rows.insert(m_rows.end(), rows.begin(), rows.end());
        endInsertRows();
    }
    Q_EMIT countChanged();
}

bool FrameList::isMatch(const Frame &frame) const
{
    return std::all_of(m_words.cbegin(), m_words.cend(),
                       [&](const QString &word) { return frame.text.contains(word, Qt::CaseInsensitive); });
}

void FrameList::setFilter(const QString &filter)
{
    if (filter == m_filter)
        return;
    m_filter = filter;
    m_words = filter.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    beginResetModel();
    m_rows.clear();
    for (std::size_t i = 0; i < m_frames.size(); ++i) {
        if (isMatch(m_frames[i]))
            m_rows.push_back(m_firstNumber + static_cast<qint64>(i));
    }
    endResetModel();
    Q_EMIT filterChanged();
    Q_EMIT countChanged();
}

QString FrameList::lastFrame() const
{
    return m_frames.empty() ? QString() : m_frames.back().text;
}

QString FrameList::nameFor(const QString &line)
{
    return QDir::home().filePath(
        QStringLiteral("%1-%2.pcap")
            .arg(line, QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd-HHmmss"))));
}

QString FrameList::save(const QString &fileName) const
{
    if (QFileInfo::exists(fileName))
        return tr("%1 is there already; choose another name. Nothing was written.").arg(fileName);
    PcapWriter writer;
    QString problem;
    if (!writer.open(fileName, &problem))
        return tr("%1. Choose a folder that you may write to.").arg(problem);
    for (const qint64 number : m_rows) {
        const Frame &frame = m_frames[static_cast<std::size_t>(number - m_firstNumber)];
        if (!writer.write(LineItem::of(frame.bytes, frame.timeNs)))
            return tr("%1 is not complete: the disk takes no more.").arg(fileName);
    }
    return tr("%1 frames saved in %2.").arg(rowCount()).arg(fileName);
}

int FrameList::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

QVariant FrameList::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const Frame &frame =
        m_frames[static_cast<std::size_t>(m_rows[static_cast<std::size_t>(index.row())] - m_firstNumber)];
    if (role == BadRole)
        return frame.isBad;
    return role == TextRole || role == Qt::DisplayRole ? QVariant(frame.text) : QVariant();
}

QHash<int, QByteArray> FrameList::roleNames() const
{
    return {{TextRole, "text"}, {BadRole, "bad"}};
}
