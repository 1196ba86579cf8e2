#include "vox/top/topshow.h"

#include "vox/console.h"
#include "vox/outcome.h"

#include <QDateTime>
#include <QTimerEvent>

#include <cstdlib>

namespace {
/// What has changed is shown within this time, and no more often.
constexpr int FrameMs = 200;
/// Clock and load go on while nothing happens.
constexpr int TickMs = 1000;
constexpr int TableSeconds = 5;
constexpr int FileColumns = 120;
/// A load that has changed by less is no news.
constexpr int LoadStep = 10;
constexpr qint64 NsPerMs = 1000000;

QString timeOf(qint64 ns)
{
    return QDateTime::fromMSecsSinceEpoch(ns / NsPerMs, Qt::UTC).toString(Qt::ISODateWithMs);
}
}

TopShow::TopShow(TopLine &line, Form form)
    : m_line(line)
    , m_form(form)
    , m_table(line.network())
    , m_view(line, m_table)
    , m_screen(Terminal::size(), hasColour())
{
    line.onFound = [this](const LineItem &item) {
        m_table.take(item);
        noteChange();
    };
    line.onPlayed = [this] {
        m_table.setTime(m_line.nowNs());
        if (m_form == AsJson)
            showJson();
    };
    connect(&line.network(), &VOXNetwork::nodeChanged, this, &TopShow::noteChange);
    connect(&line.network(), &VOXNetwork::lineChanged, this, &TopShow::noteChange);
    connect(&m_view, &TopView::changed, this, &TopShow::noteChange);
    connect(&m_view, &TopView::quitRequested, this, &TopShow::finished);
    if (m_form == OnScreen)
        takeTerminal();
    m_clock.start(TickMs, this);
    noteChange();
}

TopShow::~TopShow()
{
    m_line.onFound = [](const LineItem &) {};
    m_line.onPlayed = [] {};
    if (m_form == AsTable)
        showTable();
    else if (m_form == AsJson)
        showJson();
}

void TopShow::takeTerminal()
{
    m_terminal = std::make_unique<Terminal>();
    connect(m_terminal.get(), &Terminal::keyPressed, &m_view, &TopView::handleKey);
    connect(m_terminal.get(), &Terminal::resumed, this, &TopShow::handleResized);
}

void TopShow::handleResized()
{
    m_screen.setSize(Terminal::size());
    noteChange();
}

void TopShow::noteChange()
{
    if (!m_soon.isActive())
        m_soon.start(FrameMs, this);
}

void TopShow::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == m_soon.timerId())
        m_soon.stop();
    else if (event->timerId() == m_clock.timerId())
        m_secondsToTable = std::max(m_secondsToTable - 1, 0);
    else
        return QObject::timerEvent(event);
    show();
}

void TopShow::show()
{
    m_table.setTime(m_line.nowNs());
    // Nobody sees it any more; or a capture has been told to its end.
    if (hasOutputFailed() || (m_form != OnScreen && m_line.isOver())) {
        Q_EMIT finished();
        return;
    }
    // Whoever reads is slow: this is left out.
    if (!isOutputWritten()) {
        noteChange();
        return;
    }
    if (m_form == OnScreen)
        showScreen();
    else if (m_form == AsJson)
        showJson();
    else if (m_secondsToTable == 0)
        showTable();
}

void TopShow::showScreen()
{
    const QByteArray bytes = m_screen.draw(m_view.lines(m_screen.size()));
    if (!bytes.isEmpty())
        printBytes(bytes);
}

void TopShow::showTable()
{
    m_secondsToTable = TableSeconds;
    const int columns = isTerminal() ? Terminal::size().width() : FileColumns;
    const QStringList lines = m_view.text(columns);
    for (const QString &line : lines)
        printLine(line);
    printLine(QString());
}

void TopShow::showJson()
{
    showLineJson();
    const QVector<TopRow> rows = m_table.rows();
    for (const TopRow &row : rows) {
        if (m_told.contains(row.addr) && !row.isNews(m_told[row.addr]))
            continue;
        m_told.insert(row.addr, row);
        QJsonObject object = row.toJson();
        object.insert(QStringLiteral("time"), timeOf(m_line.nowNs()));
        printJson(object);
    }
}

void TopShow::showLineJson()
{
    const QString problem = m_line.network().isSending() ? m_line.network().lineProblem() : QString();
    const int load = m_line.loadPercent();
    if (m_toldLoad >= 0 && problem == m_toldProblem && std::abs(load - m_toldLoad) < LoadStep)
        return;
    m_toldProblem = problem;
    m_toldLoad = load;
    printJson({{QStringLiteral("time"), timeOf(m_line.nowNs())},
               {QStringLiteral("line"),
                QJsonObject{{QStringLiteral("load"), load},
                            {QStringLiteral("problem"),
                             problem.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(problem)}}}});
}
