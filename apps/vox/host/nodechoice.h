#ifndef NODECHOICE_H
#define NODECHOICE_H

#include "vox/host/listednodes.h"

#include <QCommandLineOption>
#include <QVector>

#include <memory>

class CommandLine;
class VOXBus;

/// The nodes that a command asks: those that its command line names, or those that answer a broadcast and
/// those that are in a building's list.
class NodeChoice
{
public:
    /// --compare, which names a building's list.
    static QCommandLineOption listOption();
    /// Lets @p line take addresses, or "all", and --compare.
    static void addTo(CommandLine &line);

    /// Takes what the command line has said, opens its bus and, if all are to be asked, asks there who they
    /// are. Null if the command line is wrong, the bus does not work, or nobody is there; then an error is
    /// printed, and exitCode() is the program's.
    std::unique_ptr<VOXBus> openBus(CommandLine &line);
    int exitCode() const { return m_exitCode; }

    const QVector<VOX::Addr> &addrs() const { return m_addrs; }
    /// The list's file without its folder; empty without a list.
    const QString &listName() const { return m_listName; }
    /// Whether the list, if there is one, has the node.
    bool isListed(VOX::Addr addr) const { return m_list.nodes.contains(addr); }
    /// As the list has it; empty if it has none.
    QString labelOf(VOX::Addr addr) const { return m_list.nodes.value(addr).label; }

private:
    bool read(const CommandLine &line);
    bool find(VOXBus &bus, const QString &command);

    ListedNodes m_list;
    QString m_listName;
    QVector<VOX::Addr> m_addrs;
    bool m_isAll = false;
    int m_exitCode = 0;
};

#endif
