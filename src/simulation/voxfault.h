#ifndef VOX_SIMULATION_VOXFAULT_H
#define VOX_SIMULATION_VOXFAULT_H

#include <vox/messages/vox.h>
#include <vox/simulation/simulation_export.h>

#include <QString>

/// A fault of emulated nodes, for a VOXSimulation: a value that is made of its members or of one line of
/// words, as in the files and on the console of `vox sim`:
///
///     KIND [VALUE] [ADDRESS|all] [command NAME] [probability P] [count N] [every MS]
///
/// `VOXFault{VOXFault::Delay, 250, 0x000101}` is the same as "delay 250 000101". Reentrant.
/// @ingroup simulation
struct VOX_SIMULATION_EXPORT VOXFault
{
    /// What goes wrong.
    enum Kind : int {
        /// The answer stays away.
        Drop,
        /// The answer comes #value milliseconds later, 0 to 60000. Other answers do not wait for it.
        Delay,
        /// The check value of the answer is wrong.
        Corrupt,
        /// Only the first #value bytes of the answer come, 0 to 31.
        Cut,
        /// The answer comes twice.
        Twice,
        /// A NACK comes instead, with the status #value, a KVR::NackStatus.
        Nack,
        /// The answer names the node with the address #value as its sender.
        From,
        /// So many random bytes come before the answer, 0 to 1000.
        Noise,
        /// Every #value milliseconds, 1 to 60000, the node sends something unasked: a POST_NODE_ADDR to the
        /// host, or random bytes. It sends nothing while answers still wait for the line.
        Jabber,
        /// The node neither hears nor sends anything for #value milliseconds, 1 to 3600000, and is then back,
        /// again and again; #everyMs is the time from one beginning to the next. It begins at once. A move
        /// goes on meanwhile.
        Away
    };

    /// As #node: the fault is one of every node.
    static constexpr VOX::Addr EveryNode = 0xffffffff;

    /// False if @p words are no fault; @p problem says what is wrong with them, and @p fault is then of no
    /// use.
    static bool read(const QString &words, VOXFault *fault, QString *problem);
    /// A line for each kind of fault, with what it does.
    static QString help();
    /// The words that read() makes this fault of, #happened left out.
    QString toString() const;
    /// Whether it is one of answers to @p cmd, or of answers that are @p cmd.
    bool concerns(unsigned char cmd) const;
    /// Whether it is one of this node, given without a node type.
    bool isOf(VOX::Addr addr) const { return node == EveryNode || node == addr; }
    /// Whether it goes by the clock, while the simulation is on a bus, and not by answers.
    bool isTimed() const { return kind == Jabber || kind == Away; }

    /// What goes wrong.
    Kind kind = Drop;
    /// What it means depends on the kind.
    int value = 0;
    /// Without a node type.
    VOX::Addr node = EveryNode;
    /// Of #Away: more than #value, at most 3600000, or 0 for twice that.
    int everyMs = 0;
    /// The name of a command of the KVR or the HRMv2 set: the fault happens to answers to it, and to answers
    /// that are it. Empty for all commands, and for faults that go by the clock.
    QString command{};
    /// How likely it is each time, 0 to 1.
    double probability = 1;
    /// How often it happens, 1 to 1000000; -1 for ever.
    int count = -1;
    /// How often it has happened. Counted by the simulation.
    int happened = 0;
};

#endif
