#ifndef VOX_SIMULATION_VOXSTATEFILE_P_H
#define VOX_SIMULATION_VOXSTATEFILE_P_H

#include <vox/simulation/voxsimulation.h>

#include <QBasicTimer>
#include <QMap>

/// A file that keeps the settings that hosts have made in a simulation, and the positions of its motors, from
/// one run to the next.
///
/// It holds one JSON object with a line for each node, and is saved as a whole or not at all.
class VOX_SIMULATION_EXPORT VOXStateFile : public QObject
{
    Q_OBJECT

public:
    /// @p simulation must outlive it.
    VOXStateFile(const QString &name, VOXSimulation &simulation);

    enum Result {
        /// The state is in the nodes. Also the result if there is no file yet.
        Taken,
        /// Some entries, or all of the file, are of no use. The others are in their nodes.
        Damaged,
        /// The file cannot be read, or is no file.
        Unusable
    };

    /// Sets the nodes up by their entries. Entries of nodes that are not there stay in the file; those of
    /// nodes that are of another model now are left out, with a warning(). Unless all is taken, @p problem
    /// names the mistakes, each in a line.
    Result load(QString *problem);
    /// Puts the entries that load() could not use into another file, and returns its name; empty if that
    /// fails.
    QString setAside();

    /// False if the file cannot be written; it is then as it was, and @p problem says why.
    bool save(QString *problem);

public Q_SLOTS:
    /// Notes that a setting of @p node has changed, and saves that within a second.
    void noteChange(VOX::Addr node);

Q_SIGNALS:
    /// Something is wrong that stops nothing; @p text says what, in one line.
    void warning(const QString &text);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    /// Whether there is a node for the entry. Warns if it is of another model.
    bool hasNode(const QString &addr, const QJsonObject &entry);
    void update(VOX::Addr node);

    QString m_name;
    VOXSimulation &m_simulation;
    /// By address.
    QMap<QString, QByteArray> m_entries;
    /// Entries that load() leaves out.
    QMap<QString, QJsonValue> m_damaged;
    QBasicTimer m_timer;
};

#endif
