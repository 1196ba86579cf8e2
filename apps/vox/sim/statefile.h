#ifndef STATEFILE_H
#define STATEFILE_H

#include <QBasicTimer>
#include <QJsonValue>
#include <QMap>
#include <QObject>

class KVRDevice;
class Simulation;

/// A file that keeps what the hosts of a simulation have set, and where its motors stand, from one run to the
/// next.
///
/// One JSON object, a line a node; saved as a whole or not at all.
class StateFile : public QObject
{
public:
    StateFile(const QString &name, Simulation &simulation);

    enum Result {
        /// Also if there is no file yet.
        Taken,
        /// Some entries, or all of the file, are of no use. The nodes have been set up in part: made anew,
        /// they
        /// get what is left from the next load().
        Damaged,
        /// It is no file, or it cannot be read.
        Unusable
    };

    /// Puts what is kept of them into the nodes. Entries of nodes that are not there stay in the file; those
    /// of nodes that are of another model now are named and left. Else @p problem names the mistakes, each in
    /// a line.
    Result load(QString *problem);
    /// Puts what load() could not use into another file, whose name it returns; empty if that fails.
    QString setAside();

    /// False if it cannot be written, and then the file is as it was; @p problem says why.
    bool save(QString *problem);
    /// Saves within a second that a setting of @p node has changed.
    void noteChange(KVRDevice &node);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void readEntry(const QString &addr, const QJsonValue &value, QString *problem);
    void update(KVRDevice &node);

    QString m_name;
    Simulation &m_simulation;
    /// By address.
    QMap<QString, QByteArray> m_entries;
    /// Entries that load() leaves out.
    QMap<QString, QJsonValue> m_damaged;
    QBasicTimer m_timer;
};

#endif
