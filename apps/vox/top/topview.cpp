#include "vox/top/topview.h"

#include "vox/console.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <algorithm>

namespace {
constexpr qint64 NsPerMs = 1000000;
/// Title, load and heading above the rows; the keys below.
constexpr int LinesAround = 4;
/// What is said is said for so long.
constexpr qint64 MessageNs = 60 * qint64{1000000000};
constexpr int FileColumns = 120;
constexpr const char *SortNames[] = {"address", "trouble", "label", "lost", "median"};

/// @p text in lines of at most so many columns, at least one.
QStringList wrapped(const QString &text, int columns)
{
    QStringList lines = {QString()};
    const QStringList words = text.split(QLatin1Char(' '));
    for (const QString &word : words) {
        if (lines.last().isEmpty())
            lines.last() = word;
        else if (lines.last().size() + 1 + word.size() <= columns)
            lines.last() += QLatin1Char(' ') + word;
        else
            lines += word;
    }
    return lines;
}

QString clockText(qint64 ns)
{
    return QDateTime::fromMSecsSinceEpoch(ns / NsPerMs).toString(QStringLiteral("HH:mm:ss"));
}

/// @p left and @p right at the ends of a line.
QString spread(const QString &left, const QString &right, int columns)
{
    const int room = columns - static_cast<int>(right.size());
    return room > left.size() ? left.leftJustified(room) + right : left;
}
}

TopView::TopView(TopLine &line, TopTable &table)
    : m_line(line)
    , m_table(table)
{
    connect(&line.network(), &VOXNetwork::noticed, this,
            [this](const QString &sentence) { tell(sentence, Screen::Warning); });
}

QVector<TopRow> TopView::rows()
{
    if (!m_isPaused)
        m_held = m_table.rows();
    QVector<TopRow> rows;
    std::copy_if(m_held.cbegin(), m_held.cend(), std::back_inserter(rows), [this](const TopRow &row) {
        return (row.address() + QLatin1Char(' ') + row.label + QLatin1Char(' ') + row.state)
            .contains(m_filter, Qt::CaseInsensitive);
    });
    const auto isBefore = [this](const TopRow &a, const TopRow &b) {
        switch (m_sort) {
        case ByTrouble:
            return a.mark > b.mark;
        case ByLabel:
            return a.label.compare(b.label, Qt::CaseInsensitive) < 0;
        case ByLost:
            return a.lost() > b.lost();
        case ByMedian:
            return a.medianMs > b.medianMs;
        case ByAddress:
        case SortCount:
            break;
        }
        return a.addr < b.addr;
    };
    std::stable_sort(rows.begin(), rows.end(), isBefore);
    return rows;
}

QVector<Screen::Line> TopView::lines(QSize size)
{
    const QVector<TopRow> all = rows();
    const Screen::Line message = messageLine();
    const QStringList messageLines = wrapped(message.text, size.width());
    m_pageSize = std::max(size.height() - LinesAround - static_cast<int>(messageLines.size()), 1);
    m_top = std::clamp(m_top, 0, std::max(static_cast<int>(all.size()) - m_pageSize, 0));
    const int shown = std::min(m_pageSize, static_cast<int>(all.size()) - m_top);
    const int columns = size.width();

    QVector<Screen::Line> lines = {{title(columns)}, {loadText(columns)}};
    for (const QString &text : messageLines)
        lines += {text, message.style};
    lines += {TopRow::heading(columns).leftJustified(columns), Screen::Heading};
    constexpr Screen::Style StyleOf[] = {Screen::Plain, Screen::Moving, Screen::Warning, Screen::Bad};
    for (int i = m_top; i < m_top + shown; ++i)
        lines += {all.at(i).toString(columns), StyleOf[all.at(i).mark]};
    lines.resize(std::max(size.height() - 1, static_cast<int>(lines.size())));
    lines += {footer(columns, m_top, shown, static_cast<int>(all.size())), Screen::Faint};
    return lines;
}

QStringList TopView::text(int columns)
{
    QStringList lines = {title(columns), loadText(columns)};
    if (!messageLine().text.isEmpty())
        lines += messageLine().text;
    lines += TopRow::heading(columns);
    const QVector<TopRow> all = rows();
    for (const TopRow &row : all)
        lines += printable(row.toString(columns)).trimmed();
    return lines;
}

QString TopView::title(int columns) const
{
    const bool isAsking = m_line.network().isSending();
    const char *what = m_isPaused ? "paused"
        : isAsking                ? "asking"
        : m_line.isOver()         ? "at its end"
                                  : "listening";
    return spread(QStringLiteral("vox top  %1  (%2)").arg(m_line.name(), QLatin1String(what)),
                  clockText(m_line.nowNs()), columns);
}

QString TopView::loadText(int columns) const
{
    constexpr int Percent = 100;
    constexpr int Least = 10;
    constexpr int Most = 40;
    constexpr int Rest = 70;
    const int width = std::clamp(columns - Rest, Least, Most);
    const int percent = m_line.loadPercent();
    const QString bar =
        QString(percent * width / Percent, QLatin1Char('#')).leftJustified(width, QLatin1Char('.'), true);
    return QStringLiteral("load [%1] %2 %  %3").arg(bar).arg(percent, 3).arg(summary());
}

/// What there is, and what is wrong with it.
QString TopView::summary() const
{
    const QVector<TopRow> all = m_isPaused ? m_held : m_table.rows();
    QStringList parts = {counted(all.size(), "node")};
    const auto add = [&](const char *name, auto isMeant) {
        const auto count = std::count_if(all.cbegin(), all.cend(), isMeant);
        if (count > 0)
            parts += QStringLiteral("%1 %2").arg(count).arg(QLatin1String(name));
    };
    add("silent", [](const TopRow &row) { return row.state == QLatin1String("silent"); });
    add("damaged", [](const TopRow &row) { return row.state == QLatin1String("damaged"); });
    add("moving", [](const TopRow &row) { return row.mark == TopRow::Moving; });
    const LineStatistics::Totals &totals = m_table.totals();
    if (totals.damages > 0)
        parts += counted(totals.damages, "line error");
    return parts.join(QStringLiteral(", "));
}

/// What is wrong with the line goes before all else.
Screen::Line TopView::messageLine() const
{
    const VOXNetwork &network = m_line.network();
    if (network.isSending() && !network.lineProblem().isEmpty())
        return {network.lineProblem(), Screen::Bad};
    if (!m_message.isEmpty() && m_line.nowNs() - m_messageNs < MessageNs)
        return {m_message, m_messageStyle};
    if (!network.nodes().isEmpty())
        return {network.planStretch(), Screen::Faint};
    return {network.isSending() ? QStringLiteral(
                "Nobody has answered yet. d searches once more; --compare FILE names the nodes.")
                                : QStringLiteral("No node has been heard yet."),
            Screen::Faint};
}

QString TopView::footer(int columns, int first, int shown, int all) const
{
    if (m_input == Filter)
        return QStringLiteral("show only what has: %1_").arg(m_text);
    if (m_input == FileName)
        return QStringLiteral("save to (.json or text): %1_").arg(m_text);
    const QString filter = m_filter.isEmpty() ? QString() : QStringLiteral(" '%1'").arg(m_filter);
    const QString keys = QStringLiteral("s sort: %1   / filter%2   p %3   w save   d search   q quit")
                             .arg(QLatin1String(SortNames[m_sort]), filter,
                                  m_isPaused ? QStringLiteral("go on") : QStringLiteral("pause"));
    return spread(keys,
                  shown == 0 ? QStringLiteral("no rows")
                             : QStringLiteral("%1-%2 of %3").arg(first + 1).arg(first + shown).arg(all),
                  columns);
}

void TopView::tell(const QString &message, Screen::Style style)
{
    m_message = message;
    m_messageStyle = style;
    m_messageNs = m_line.nowNs();
    Q_EMIT changed();
}

// Keys

void TopView::handleKey(const Key &key)
{
    if (m_input != Nothing) {
        handleInput(key);
    } else {
        switch (key.kind) {
        case Key::Character:
            handleCharacter(key.character);
            break;
        case Key::Up:
            scroll(-1);
            break;
        case Key::Down:
            scroll(1);
            break;
        case Key::PageUp:
            scroll(-m_pageSize);
            break;
        case Key::PageDown:
            scroll(m_pageSize);
            break;
        case Key::Home:
            m_top = 0;
            break;
        case Key::End:
            m_top = static_cast<int>(m_held.size());
            break;
        case Key::Escape:
            m_filter.clear();
            m_message.clear();
            break;
        case Key::Enter:
        case Key::Backspace:
        case Key::Suspend:
            break;
        }
    }
    Q_EMIT changed();
}

void TopView::handleCharacter(QChar character)
{
    switch (character.toLower().unicode()) {
    case 'd':
        if (m_line.network().isSending())
            m_line.network().discover();
        break;
    case 'q':
        Q_EMIT quitRequested();
        break;
    case 's':
        m_sort = static_cast<Sort>((m_sort + 1) % SortCount);
        break;
    case '/':
    case 'f':
        m_input = Filter;
        m_text = m_filter;
        break;
    case 'p':
    case ' ':
        m_isPaused = !m_isPaused;
        m_line.setPaused(m_isPaused);
        break;
    case 'w':
        m_input = FileName;
        m_text = QStringLiteral("vox-top.txt");
        break;
    default:
        break;
    }
}

void TopView::handleInput(const Key &key)
{
    if (key.kind == Key::Character && key.character.isPrint())
        m_text += key.character;
    else if (key.kind == Key::Backspace)
        m_text.chop(1);
    else if (key.kind == Key::Escape)
        m_input = Nothing;
    else if (key.kind == Key::Enter)
        acceptInput();
}

void TopView::acceptInput()
{
    const Input input = std::exchange(m_input, Nothing);
    if (input == Filter) {
        m_filter = m_text;
        return;
    }
    QString problem;
    if (m_text.isEmpty())
        return;
    if (save(m_text, &problem))
        tell(QStringLiteral("%1 in %2").arg(counted(rows().size(), "node"), m_text), Screen::Plain);
    else
        tell(problem, Screen::Bad);
}

void TopView::scroll(int rows)
{
    m_top += rows;
}

bool TopView::save(const QString &fileName, QString *problem)
{
    QByteArray content;
    if (fileName.endsWith(QLatin1String(".json"))) {
        QJsonArray array;
        const QVector<TopRow> all = rows();
        for (const TopRow &row : all)
            array += row.toJson();
        content = QJsonDocument(array).toJson();
    } else {
        content = (text(FileColumns).join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8();
    }
    QSaveFile file(fileName);
    // commit() takes no notice of what it cannot flush itself.
    const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(content) == content.size()
        && file.flush() && file.commit();
    if (!isWritten)
        *problem = QStringLiteral("cannot write %1: %2").arg(fileName, file.errorString());
    return isWritten;
}
