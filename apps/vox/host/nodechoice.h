#ifndef NODECHOICE_H
#define NODECHOICE_H

#include "messages/vox.h"

#include <QMap>
#include <QVector>

class CommandLine;
class VOXBus;

/// The nodes of a building as a file lists them.
struct BuildingList
{
    /// Reads a network file, as `vox sim --config` takes it, or what `vox scan --json` has printed. False if
    /// it is neither; @p problem says why, in one line.
    bool read(const QString &fileName, QString *problem);

    /// Of the file, without its folder; empty without a list.
    QString name;
    /// By address; empty for a node without a label.
    QMap<VOX::Addr, QString> labels;
};

/// The nodes that a command asks: those that its command line names, or those that answer a broadcast and
/// those that are in a building's list.
class NodeChoice
{
public:
    /// Lets @p line take addresses, or "all", and --compare.
    static void addTo(CommandLine &line);

    /// Takes what the command line has said. False if that is wrong; then exitCode() is the program's.
    bool read(const CommandLine &line);
    /// Asks who is there, if all are to be asked. False if the bus does not work, or nobody is there; then an
    /// error is printed, and exitCode() is the program's.
    bool find(VOXBus &bus, const QString &command);
    int exitCode() const { return m_exitCode; }

    const QVector<VOX::Addr> &addrs() const { return m_addrs; }
    const BuildingList &list() const { return m_list; }
    /// Whether the list, if there is one, has the node.
    bool isListed(VOX::Addr addr) const { return m_list.labels.contains(addr); }
    /// As the list has it, printable; empty if it has none.
    QString labelOf(VOX::Addr addr) const;

private:
    BuildingList m_list;
    QVector<VOX::Addr> m_addrs;
    bool m_isAll = false;
    int m_exitCode = 0;
};

#endif
