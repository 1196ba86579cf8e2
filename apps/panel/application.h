#ifndef APPLICATION_H
#define APPLICATION_H

#include "panel/panel.h"
#include "panel/paneloptions.h"
#include "panel/stopkey.h"
#include "panel/theme.h"

#include <QQmlApplicationEngine>

class QQuickWindow;

/// The window of the panel, and what it stands on.
class Application : public QObject
{
    Q_OBJECT

public:
    /// To be called before the first window, and before QGuiApplication if there is none yet.
    static void prepare();

    explicit Application(const PanelOptions &options, QObject *parent = nullptr);
    ~Application() override;

    /// Null if the window could not be made.
    QQuickWindow *window() const;
    Panel &panel() { return m_panel; }
    Theme &theme() { return m_theme; }

private:
    void openSource(const PanelOptions &options);
    void registerTypes();
    void remember();
    void rememberSize();

    Theme m_theme;
    Panel m_panel;
    StopKey m_stopKey;
    QQmlApplicationEngine m_engine;
};

#endif
