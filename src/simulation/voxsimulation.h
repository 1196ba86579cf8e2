#ifndef VOX_SIMULATION_VOXSIMULATION_H
#define VOX_SIMULATION_VOXSIMULATION_H

#include <vox/devices/kvrdevice.h>
#include <vox/simulation/voxfault.h>

#include <QJsonObject>
#include <QStringList>

#include <memory>

class VOXBus;

/// A network of emulated nodes: what `vox sim` runs, in a program of one's own.
///
/// Its nodes come from a file in the language of `vox sim`, or are added one by one. They sit on one bus,
/// behind the faults that the simulation has. Prints nothing. Used on the thread that made it, which also has
/// to be its bus's. A slot that runs while a node serves a request may change or destroy the simulation.
/// @ingroup simulation
class VOX_SIMULATION_EXPORT VOXSimulation : public QObject
{
    Q_OBJECT

public:
    /// Without nodes, on no bus, with the seed 0.
    explicit VOXSimulation(QObject *parent = nullptr);
    /// Destroys the nodes, and leaves the bus as it is.
    ~VOXSimulation() override;

    /// The names of the models that a node may be of, "NODE" and "TB20" among them.
    static QStringList models();

    ///@{
    /// Replaces the nodes and the faults by those of a network, which is a file or an object of the same
    /// language. The bus stays the one that the simulation is on. False if there is a mistake; the simulation
    /// then stays as it was, and @p problem names the mistake in one line, with its path
    /// ("nodes[3].limits.down: ..."), with the name of the file, and with the line of a mistake in its JSON.
    bool load(const QString &fileName, QString *problem = nullptr);
    bool load(const QJsonObject &network, QString *problem = nullptr);
    ///@}
    /// The "bus" of the network that was loaded, in the form of VOXBusUrl; empty if it names none. It is not
    /// opened.
    QString busUrl() const;

    /// Adds a node, with the settings that its model has from the factory. The simulation owns it; to delete
    /// it is as good as remove(). Its address has to stay what it is. Null if there is no such model, if no
    /// node can have this address, or if another node has it; @p problem says so.
    KVRDevice *add(const QString &model, VOX::Addr addr, QString *problem = nullptr);
    /// Destroys the node with this address. False if there is none.
    bool remove(VOX::Addr addr);
    /// Destroys all nodes. The faults stay.
    void clear();

    /// Without node types, in the order in which the nodes were added.
    QVector<VOX::Addr> addresses() const;
    /// The node with this address, with or without a node type; null if there is none.
    KVRDevice *node(VOX::Addr addr) const;
    /// The same as the class of its model, or as a base of it; null if it is of another one.
    template <typename Node>
    Node *node(VOX::Addr addr) const
    {
        return qobject_cast<Node *>(node(addr));
    }
    /// The name of the model of a node; empty if there is no node with this address.
    QString model(VOX::Addr addr) const;
    /// All settings of a node that a host can change, and where a motor stands, in the words of a network
    /// file; empty if there is no node with this address.
    QJsonObject settings(VOX::Addr addr) const;

    /// Puts all nodes, those of now and those to come, on @p bus, behind the faults; null takes them off
    /// again. The bus stays the caller's, and may be destroyed at any time. False, with nothing changed, if
    /// it belongs to another thread.
    bool attach(VOXBus *bus);

    /// Lets all motors, those of now and those to come, live @p factor times as fast; 1 at first.
    void setTimeScale(unsigned int factor);

    ///@{
    /// Lets requests and answers take the time of a serial line, whatever the bus is: 11 bits a byte at
    /// @p bitsPerSecond, 300 to 115200, and @p leastTurnMs to @p mostTurnMs milliseconds, 0 to 10000, between
    /// the end of a request and the beginning of its answer. What overlaps on that line is destroyed: two
    /// answers to a broadcast, or an answer and the host's next request. A rate of 0, which it is at first,
    /// lets answers come at once. @p words are the same as of `vox sim --line`, "4800" or "4800:5-40". What
    /// is under way is lost. False, with nothing changed, if a number is out of its range; @p problem says
    /// which. Not for a bus that is such a line itself, as a serial port or a VOXLine.
    bool setLine(int bitsPerSecond, int leastTurnMs = 0, int mostTurnMs = 0);
    bool setLine(const QString &words, QString *problem = nullptr);
    ///@}

    ///@{
    /// What chance is made of. The same seed, set before the first request, makes the same faults again for
    /// the same requests.
    void setSeed(quint32 seed);
    quint32 seed() const;
    ///@}

    /// The faults in force, in the order in which they were added, also those that have happened as often as
    /// they should.
    QVector<VOXFault> faults() const;
    /// Adds a fault. Its node may be one that is yet to come. False if its members are out of their ranges;
    /// @p problem says what is wrong with them.
    bool addFault(const VOXFault &fault, QString *problem = nullptr);
    /// Adds the fault that @p words are. False if they are none; @p problem says why.
    bool addFault(const QString &words, QString *problem = nullptr);
    /// Ends the fault at @p index of faults(). False if there is none.
    bool removeFault(int index);
    /// Ends all faults.
    void clearFaults();

    /// What hosts have set in all nodes, and where motors stand, in the words of `vox sim --state`:
    /// {"nodes": {"000101": {"model": "TB20", ...settings}}}.
    QJsonObject state() const;
    /// Sets the nodes up by a state(). Entries of nodes that are not there, or that are of another model, are
    /// left out. False if there is a mistake; the nodes then stay as they were, and @p problem names it with
    /// its path.
    bool setState(const QJsonObject &state, QString *problem = nullptr);

Q_SIGNALS:
    /// Emitted after a host has asked @p node to change a setting, whether that was refused or not, and when
    /// a motor has come to rest; not for what the simulation is told to do.
    void settingChanged(VOX::Addr node);
    /// Carries what nodes have put on the line, in line form, faults included: a frame, what a fault or a
    /// collision has made of it, or random bytes. What hosts say is in BusDispatcher::heard() of the bus. A
    /// slot must not destroy the bus.
    void said(const QByteArray &bytes);

private:
    class Private;
    const std::unique_ptr<Private> d;
};

#endif
