#ifndef GROUPREADER_H
#define GROUPREADER_H

#include "vox/bridge/siteconfig.h"

#include <QBasicTimer>
#include <QMap>
#include <QObject>
#include <QSet>

class VOXNetwork;
class VOXNetworkMotor;

/// Who is in the groups of a line: as the site says, or, for a group without members there, as the motors
/// say. They are asked one slot a second.
class GroupReader : public QObject
{
public:
    /// Both must outlive it.
    GroupReader(const LineConfig &line, VOXNetwork &network);

    QVector<VOXNetworkMotor *> members(unsigned int group) const;
    /// Whether one frame to the group reaches all its members, and nobody else.
    bool isExact(unsigned int group) const;

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    struct Reading
    {
        int nextSlot = 0;
        bool isDone = false;
    };

    bool isWanted(unsigned int addr) const;
    void ask(unsigned int addr);
    void take(unsigned int addr, unsigned int group);

    const LineConfig &m_line;
    VOXNetwork &m_network;
    /// Of the groups whose members the motors tell.
    QMap<unsigned int, QSet<unsigned int>> m_found;
    QMap<unsigned int, Reading> m_readings;
    QBasicTimer m_timer;
};

#endif
