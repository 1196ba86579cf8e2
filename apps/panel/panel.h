#ifndef PANEL_H
#define PANEL_H

#include "panel/demobuilding.h"
#include "panel/places.h"
#include "panel/replay.h"
#include "panel/selection.h"
#include "panel/troublelist.h"

#include <QStringList>

#include <vector>

class Replay;

/// The panel as a whole: which lines it shows, what it may do with them, and what it says about them.
class Panel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString title READ title NOTIFY linesChanged)
    Q_PROPERTY(QString badge READ badge NOTIFY linesChanged)
    Q_PROPERTY(QString badgeReason READ badgeReason NOTIFY linesChanged)
    Q_PROPERTY(bool canSend READ canSend NOTIFY linesChanged)
    Q_PROPERTY(QStringList problems READ problems NOTIFY linesChanged)
    Q_PROPERTY(QVariantList lines READ lineObjects NOTIFY linesChanged)
    Q_PROPERTY(ShadeModel *shades READ shades CONSTANT)
    Q_PROPERTY(Selection *selection READ selection CONSTANT)
    Q_PROPERTY(TroubleList *troubles READ troubles CONSTANT)
    Q_PROPERTY(DemoBuilding *demo READ demo NOTIFY linesChanged)
    Q_PROPERTY(Replay *replay READ replay NOTIFY linesChanged)
    Q_PROPERTY(Places *places READ places CONSTANT)
    Q_PROPERTY(QVariantList counts READ counts NOTIFY countsChanged)
    Q_PROPERTY(QString stopText READ stopText NOTIFY stopTextChanged)

public:
    enum Sending { Sends, OnlyListens };

    explicit Panel(QObject *parent = nullptr);
    ~Panel() override;

    /// Shows the lines of @p site, on their buses. @p problems are told where the lines are.
    void open(const Site &site, Sending sending, const QStringList &problems = {});
    /// Shows a building that is simulated here.
    Q_INVOKABLE void openDemo(int shades = DemoBuilding::DefaultShades,
                              int bitsPerSecond = DemoBuilding::DefaultRate);
    Q_INVOKABLE void openBus(const QString &url);
    /// Shows what was, from a capture.
    Q_INVOKABLE void openReplay(const QString &fileName);
    /// Shows the lines of a site file.
    void openConfig(const QString &fileName, Sending sending);

    QString title() const { return m_title; }
    QString badge() const;
    QString badgeReason() const;
    bool canSend() const { return m_sending == Sends; }
    QStringList problems() const { return m_problems; }
    QVariantList lineObjects() const;
    const QVector<PanelLine *> &lines() const { return m_lines; }
    ShadeModel *shades() { return &m_shades; }
    Selection *selection() { return &m_selection; }
    TroubleList *troubles() { return &m_troubles; }
    DemoBuilding *demo() const { return m_demo.get(); }
    Replay *replay() const { return m_replay.get(); }
    Places *places() { return &m_places; }
    /// "60 shades", "6 moving" and so on: objects with "text" and "colour".
    QVariantList counts() const { return m_counts; }
    /// What has become of the last stop of all.
    QString stopText() const { return m_stopText; }

    ///@{
    /// Tells all motors of all lines. Nothing happens if the panel only looks.
    Q_INVOKABLE void stopAll();
    Q_INVOKABLE void allUp();
    Q_INVOKABLE void allDown();
    ///@}
    ///@{
    /// About a node: the name of its façade, and milliseconds since it was last read, -1 for never.
    Q_INVOKABLE QString facadeOf(QObject *node) const;
    Q_INVOKABLE double positionAgeMs(QObject *node) const;
    ///@}
    ///@{
    /// Whether a person has marked a node as checked.
    Q_INVOKABLE bool isChecked(PanelLine *line, uint addr) const;
    Q_INVOKABLE void setChecked(PanelLine *line, uint addr, bool isChecked);
    ///@}
    ///@{
    /// About a node in a table: its limits in words, and whether two seem to have its address.
    Q_INVOKABLE QString limitsOf(PanelLine *line, uint addr) const;
    Q_INVOKABLE bool isDoubled(PanelLine *line, uint addr) const;
    ///@}
    ///@{
    /// Writes the nodes of all lines as a table, or as a site file. What has happened, as a sentence. A file
    /// that is there already is written only if it is the site file that is shown, or has been written here.
    Q_INVOKABLE QString exportCsv(const QString &fileName);
    Q_INVOKABLE QString exportSite(const QString &fileName);
    /// In the user's folder, without an extension.
    Q_INVOKABLE QString exportName() const;
    ///@}
    /// The serial ports of this machine, as URLs.
    Q_INVOKABLE QStringList ports() const;

    /// Whether every motor has been asked, or cannot be.
    bool isSettled() const;

Q_SIGNALS:
    void linesChanged();
    /// Nodes have told something, or time has passed: a few times a second at most.
    void told();
    void stopTextChanged();
    void countsChanged();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void close();
    QString writeOwn(const QString &fileName, const QByteArray &text);
    QVariantList makeCounts() const;
    PanelLine &addLine(const SiteLine &line, VOXBus *bus);

    ShadeModel m_shades;
    QVector<PanelLine *> m_lines;
    Selection m_selection;
    TroubleList m_troubles;
    Places m_places;
    std::unique_ptr<DemoBuilding> m_demo;
    std::unique_ptr<Replay> m_replay;
    QJsonObject m_siteObject;
    /// The files that may be written over.
    QStringList m_ownFiles;
    Sending m_sending = Sends;
    QString m_title;
    QStringList m_problems;
    QString m_stopText;
    bool m_isStopInVain = false;
    QVariantList m_counts;
    QBasicTimer m_timer;
    bool m_isNews = true;
    int m_quietTicks = 0;
};

#endif
