#ifndef TOPSHOW_H
#define TOPSHOW_H

#include "vox/top/terminal.h"
#include "vox/top/topview.h"

#include <QBasicTimer>

#include <memory>

/// Lets people, or programs, see a line: on a screen, as a table each five seconds, or as a JSON object for
/// each change. Nothing waits for whoever reads: what does not fit is left out, and what comes later says it.
class TopShow : public QObject
{
    Q_OBJECT

public:
    enum Form { OnScreen, AsTable, AsJson };

    /// @p line must outlive it.
    TopShow(TopLine &line, Form form);
    ~TopShow() override;

    /// The terminal has another size.
    void handleResized();

Q_SIGNALS:
    /// Nobody wants to see more, or nobody can, or a capture that is not shown on a screen is at its end.
    void finished();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void takeTerminal();
    void noteChange();
    void show();
    void showScreen();
    void showTable();
    void showJson();
    void showLineJson();

    TopLine &m_line;
    const Form m_form;
    TopTable m_table;
    TopView m_view;
    Screen m_screen;
    std::unique_ptr<Terminal> m_terminal;
    QBasicTimer m_clock;
    QBasicTimer m_soon;
    int m_secondsToTable = 0;
    QMap<VOX::Addr, TopRow> m_told;
    QString m_toldProblem;
    int m_toldLoad = -1;
};

#endif
