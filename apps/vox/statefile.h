#ifndef STATEFILE_H
#define STATEFILE_H

#include <QBasicTimer>
#include <QMap>
#include <QObject>

class KVRDevice;
class QJsonObject;
class Simulation;

/// A file that keeps what the hosts of a simulation have set, and where its motors stand, from one run to the
/// next.
///
/// One JSON object, a line a node; saved as a whole or not at all.
class StateFile : public QObject
{
public:
    StateFile(const QString &name, Simulation &simulation);

    /// Puts what is kept of them into the nodes. Entries of nodes that are not there stay in the file. False
    /// if the file is damaged, and the nodes are then set up in part; @p problem names the mistake.
    bool load(QString *problem);
    /// Gives the file another name, which it returns; empty if that fails.
    QString setAside();

    /// False if it cannot be written; @p problem says why.
    bool save(QString *problem);
    /// Saves within a second that a setting of @p node has changed.
    void noteChange(KVRDevice &node);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void readEntry(const QString &addr, const QJsonObject &entry, QString *problem);
    void update(KVRDevice &node);
    bool write(QString *problem) const;

    QString m_name;
    Simulation &m_simulation;
    /// By address.
    QMap<QString, QByteArray> m_entries;
    QBasicTimer m_timer;
};

#endif
