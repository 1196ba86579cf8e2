#ifndef STATEFILE_H
#define STATEFILE_H

#include <QBasicTimer>
#include <QJsonValue>
#include <QMap>
#include <QObject>

class KVRDevice;
class Simulation;

/// A file that keeps the settings that hosts have made in a simulation, and the positions of its motors, from
/// one run to the next.
///
/// It holds one JSON object with a line for each node, and is saved as a whole or not at all.
class StateFile : public QObject
{
public:
    StateFile(const QString &name, Simulation &simulation);

    enum Result {
        /// The state is in the nodes. Also the result if there is no file yet.
        Taken,
        /// Some entries, or all of the file, are of no use. The nodes have been set up in part. Make them
        /// anew: the next load() gives them what is left.
        Damaged,
        /// The file cannot be read, or is no file.
        Unusable
    };

    /// Sets the nodes up by their entries. Entries of nodes that are not there stay in the file; those of
    /// nodes that are of another model now are reported and left out. Unless all is taken, @p problem names
    /// the mistakes, each in a line.
    Result load(QString *problem);
    /// Puts the entries that load() could not use into another file, and returns its name; empty if that
    /// fails.
    QString setAside();

    /// False if the file cannot be written; it is then as it was, and @p problem says why.
    bool save(QString *problem);
    /// Notes that a setting of @p node has changed, and saves that within a second.
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
