#ifndef GROUPREADER_H
#define GROUPREADER_H

#include "vox/bridge/siteconfig.h"

#include <QBasicTimer>
#include <QMap>
#include <QObject>
#include <QSet>

class BusPendingCall;
class VOXNetwork;
class VOXNetworkMotor;

/// Who is in the groups of a line: as the site says, or, for a group without members there, as the motors
/// say. They are asked one slot a second, the first slots of all motors first, because few use more.
class GroupReader : public QObject
{
    Q_OBJECT

public:
    /// Both must outlive it.
    GroupReader(const LineConfig &line, VOXNetwork &network);

    QVector<VOXNetworkMotor *> members(unsigned int group) const;
    /// Whether one frame to the group reaches all its members that hear frames for groups, and nobody else.
    bool isExact(unsigned int group) const;
    /// The groups of this motor may be others now.
    void readAgain(unsigned int addr);

Q_SIGNALS:
    /// A group has got another member, or has lost one.
    void changed();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    struct Reading
    {
        int nextSlot = 0;
        bool isDone = false;
        QSet<unsigned int> groups;
        /// Those that have been seen since it began anew.
        QSet<unsigned int> seen;
    };

    bool isWanted(unsigned int addr) const;
    void ask(unsigned int addr);
    void handleAnswer(unsigned int addr, int slot, const BusPendingCall &ended);
    void announce();

    const LineConfig &m_line;
    VOXNetwork &m_network;
    /// Of those that the motors tell, and that the site names.
    QMap<unsigned int, QVector<unsigned int>> m_found;
    QMap<unsigned int, Reading> m_readings;
    QBasicTimer m_timer;
    bool m_isAsking = false;
};

#endif
