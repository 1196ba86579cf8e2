#ifndef TOPVIEW_H
#define TOPVIEW_H

#include "vox/top/keys.h"
#include "vox/top/screen.h"
#include "vox/top/topline.h"
#include "vox/top/toptable.h"

#include <QStringList>

/// What top shows of a line, and what keys do to it. Draws nothing itself.
class TopView : public QObject
{
    Q_OBJECT

public:
    /// Both must outlive it.
    TopView(TopLine &line, TopTable &table);

    /// What a terminal of this size shows.
    QVector<Screen::Line> lines(QSize size);
    /// The table alone, with all rows, for what cannot show a screen.
    QStringList text(int columns);
    /// The rows as they are shown, all of them.
    QVector<TopRow> rows();

    void handleKey(const Key &key);
    /// Says something for a minute, or until something else is said.
    void tell(const QString &message, Screen::Style style);
    /// Writes what is shown into a file: JSON if its name ends in ".json", else the table. False, and
    /// @p problem says why, if that cannot be done.
    bool save(const QString &fileName, QString *problem);

Q_SIGNALS:
    void quitRequested();
    /// Something is to be drawn anew.
    void changed();

private:
    enum Sort { ByAddress, ByTrouble, ByLabel, ByLost, ByMedian, SortCount };
    enum Input { Nothing, Filter, FileName };

    void handleCharacter(QChar character);
    void handleInput(const Key &key);
    void acceptInput();
    void scroll(int rows);
    QString title(int columns) const;
    QString loadText(int columns) const;
    QString summary() const;
    Screen::Line messageLine() const;
    QString footer(int columns, int first, int shown, int all) const;

    TopLine &m_line;
    TopTable &m_table;
    Sort m_sort = ByAddress;
    QString m_filter;
    Input m_input = Nothing;
    QString m_text;
    int m_top = 0;
    int m_pageSize = 1;
    bool m_isPaused = false;
    /// As they were when they were held.
    QVector<TopRow> m_held;
    QString m_message;
    Screen::Style m_messageStyle = Screen::Plain;
    qint64 m_messageNs = 0;
};

#endif
