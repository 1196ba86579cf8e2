#ifndef REPLAY_H
#define REPLAY_H

#include "panel/panelline.h"

#include "simulation/voxline.h"
#include "vox/line/lineitem.h"

#include <QBasicTimer>
#include <QElapsedTimer>

/// Plays a capture into a line in memory, at which a network listens. Going back begins anew.
class Replay : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString fileName READ fileName CONSTANT)
    Q_PROPERTY(double position READ position WRITE setPosition NOTIFY positionChanged)
    Q_PROPERTY(double duration READ duration CONSTANT)
    Q_PROPERTY(QString time READ time NOTIFY positionChanged)
    Q_PROPERTY(bool playing READ isPlaying WRITE setPlaying NOTIFY playingChanged)
    Q_PROPERTY(int speed READ speed WRITE setSpeed NOTIFY speedChanged)

public:
    static constexpr int MostSpeed = 100;

    explicit Replay(QObject *parent = nullptr);
    ~Replay() override;

    /// False if the file is no capture; @p problem says why, and what to do.
    bool load(const QString &fileName, QString *problem);
    /// The bus at which a network is to listen.
    VOXBus &bus() { return *m_bus; }
    SiteLine site() const;
    /// Begins to play into @p line.
    void play(PanelLine &line);

    QString fileName() const { return m_fileName; }
    ///@{
    /// Milliseconds from the first frame.
    double position() const { return m_positionMs; }
    void setPosition(double positionMs);
    double duration() const;
    ///@}
    /// The time of day of what is shown.
    QString time() const;
    bool isPlaying() const { return m_isPlaying; }
    void setPlaying(bool isPlaying);
    /// How many times as fast as it was, 1 to 100.
    int speed() const { return m_speed; }
    void setSpeed(int speed);
    /// Whether all frames up to the position have been played.
    bool isCaughtUp() const;

Q_SIGNALS:
    void positionChanged();
    void playingChanged();
    void speedChanged();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void feed();
    void arm();

    QString m_fileName;
    std::vector<LineItem> m_items;
    VOXLine m_line{0};
    QIODevice *m_player;
    VOXBus *m_bus;
    QPointer<PanelLine> m_panelLine;
    std::size_t m_next = 0;
    double m_positionMs = 0;
    int m_speed = 1;
    bool m_isPlaying = false;
    QElapsedTimer m_clock;
    QBasicTimer m_timer;
};

#endif
