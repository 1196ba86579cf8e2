#ifndef DEMOBUILDING_H
#define DEMOBUILDING_H

#include "panel/panelline.h"

#include "simulation/voxline.h"
#include "simulation/voxsimulation.h"

#include <QBasicTimer>
#include <QSet>

/// A building that is not there: sixty shades on three façades, on a line in memory.
class DemoBuilding : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool cut READ isCut WRITE setCut NOTIFY changed)
    Q_PROPERTY(int killed READ killed NOTIFY changed)
    Q_PROPERTY(double hour READ hour WRITE setHour NOTIFY changed)

public:
    /// Another number of shades makes a building of as many, all on one floor after the other.
    explicit DemoBuilding(int shades = DefaultShades, int bitsPerSecond = DefaultRate,
                          QObject *parent = nullptr);
    ~DemoBuilding() override;

    static constexpr int DefaultShades = 60;
    /// Four times the usual rate: who tries it waits for nothing. 0 is a line that takes no time.
    static constexpr int DefaultRate = 19200;
    static constexpr int MostShades = 2000;

    const Site &site() const { return m_site; }
    /// The host's end of the line.
    VOXBus &bus() { return *m_bus; }
    VOXSimulation &simulation() { return m_simulation; }
    VOXLine &line() { return m_line; }
    /// Lets something happen every few seconds, through the network of @p line as any host would.
    void play(PanelLine &line);

    /// Whether things happen by themselves.
    void setPlaying(bool isPlaying);
    bool isCut() const { return m_line.isCut(); }
    void setCut(bool isCut);
    int killed() const { return static_cast<int>(m_killed.size()); }
    double hour() const { return m_hour; }
    /// Shades of the side that the sun shines on go down, those of the others up.
    void setHour(double hour);

    /// Lets a node answer nothing any more.
    Q_INVOKABLE void kill(VOX::Addr addr);
    /// The same for one that still answers.
    Q_INVOKABLE void killAny();
    Q_INVOKABLE void revive();

Q_SIGNALS:
    void changed();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void build(int shades);
    void playStep();

    Site m_site;
    VOXLine m_line;
    VOXSimulation m_simulation;
    VOXBus *m_nodes;
    VOXBus *m_bus;
    QPointer<PanelLine> m_panelLine;
    QSet<VOX::Addr> m_killed;
    double m_hour = 12;
    QBasicTimer m_timer;
    int m_step = 0;
};

#endif
