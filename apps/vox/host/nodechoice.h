#ifndef NODECHOICE_H
#define NODECHOICE_H

#include "vox/host/listednodes.h"

#include <QCommandLineOption>
#include <QVector>

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

    /// Takes what the command line has said. False if that is wrong; then exitCode() is the program's.
    bool read(const CommandLine &line);
    /// Asks who is there, if all are to be asked. False if the bus does not work, or nobody is there; then an
    /// error is printed, and exitCode() is the program's.
    bool find(VOXBus &bus, const QString &command);
    int exitCode() const { return m_exitCode; }

    const QVector<VOX::Addr> &addrs() const { return m_addrs; }
    /// The list's file without its folder; empty without a list.
    const QString &listName() const { return m_listName; }
    /// Whether the list, if there is one, has the node.
    bool isListed(VOX::Addr addr) const { return m_list.nodes.contains(addr); }
    /// As the list has it; empty if it has none.
    QString labelOf(VOX::Addr addr) const { return m_list.nodes.value(addr).label; }

private:
    ListedNodes m_list;
    QString m_listName;
    QVector<VOX::Addr> m_addrs;
    bool m_isAll = false;
    int m_exitCode = 0;
};

#endif
