#ifndef VOX_SIMULATION_VOXRECORDER_H
#define VOX_SIMULATION_VOXRECORDER_H

#include <vox/messages/voxmessage.h>
#include <vox/simulation/simulation_export.h>

#include <QJsonObject>
#include <QObject>
#include <QStringList>
#include <QVector>

#include <memory>

class VOXBus;

/// Makes a network for VOXSimulation of a real one: by asking its nodes, or by listening.
///
/// Asks one question at a time, and only such that change nothing. An emulated node answers each question as
/// its original did; what settings cannot express is written down answer by answer. A node of a type that no
/// model stands for is emulated as far as its answers go. Used on the thread of the bus.
/// @ingroup simulation
class VOX_SIMULATION_EXPORT VOXRecorder : public QObject
{
    Q_OBJECT

public:
    /// How much start() asks of each node.
    enum Depth {
        /// All that a node can be asked: up to some 70 questions.
        Everything,
        /// Version, label, limits, position, status and speeds.
        Essentials
    };
    Q_ENUM(Depth)

    /// Knows nothing yet.
    explicit VOXRecorder(QObject *parent = nullptr);
    ~VOXRecorder() override;

    ///@{
    /// How start() asks: everything at first.
    Depth depth() const;
    void setDepth(Depth depth);
    ///@}
    /// Restricts start() to these nodes, with or without node types. Without any, which is so at first, it
    /// asks all that answer a broadcast; nodes of the older generation may not.
    void setAddresses(const QVector<VOX::Addr> &addresses);

    /// Asks the nodes of @p bus, which has to be open. Forgets what was known before. finished() comes later,
    /// never from inside this function.
    void start(VOXBus &bus);
    /// Ends the questions. What is known stays, isPartial() is true, and finished() is emitted, if it was
    /// still running.
    void stop();
    /// From start() until finished().
    bool isRunning() const;
    /// Whether stop(), or the end of the bus, has left questions unasked.
    bool isPartial() const;

    /// Takes a frame that has been overheard on a line, @p timeMs milliseconds after any fixed time. Frames
    /// are to come in their order. Requests of hosts and the answers to them teach what they tell.
    void hear(const VOXMessage &frame, double timeMs);

    ///@{
    /// How many questions have been asked, or need not be, and how many there are at most. Both grow when
    /// nodes are found.
    int askedCount() const;
    int questionCount() const;
    ///@}
    /// Milliseconds that the rest will take at the pace so far; -1 as long as that cannot be said.
    qint64 remainingTime() const;

    ///@{
    /// Without node types, in ascending order: the nodes that have answered anything, and those that were
    /// asked and have answered nothing.
    QVector<VOX::Addr> nodes() const;
    QVector<VOX::Addr> silentNodes() const;
    /// Nodes that have stopped to answer while they were asked. The rest of the questions was left out.
    QVector<VOX::Addr> goneNodes() const;
    /// Nodes that have answered the broadcast more than once: several may have this address.
    QVector<VOX::Addr> doubledNodes() const;
    ///@}
    ///@{
    /// Questions to a node by the names of their commands, with index: those that it refused and why
    /// ("GET_TILT_LIMITS: FEATURE_NOT_SUPPORTED"), those that it did not answer, and the commands that it was
    /// not asked with all that they take. Empty for a node that is not known.
    QStringList refused(VOX::Addr node) const;
    QStringList unanswered(VOX::Addr node) const;
    QStringList unknown(VOX::Addr node) const;
    ///@}
    /// Whether the node was moving when it was last asked. It is recorded at rest where it then was.
    bool isMoving(VOX::Addr node) const;

    /// The network, in the language of VOXSimulation::load(). It names no bus, so that nobody puts it on the
    /// line of its original by mistake. Of what was heard, answer times and silences become faults. The lists
    /// above are in "recorded", which a simulation ignores.
    QJsonObject network() const;

Q_SIGNALS:
    /// askedCount(), or questionCount(), is another.
    void progressed();
    /// All questions to @p node have been asked.
    void nodeFinished(VOX::Addr node);
    /// Nothing more will be asked.
    void finished();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

#endif
