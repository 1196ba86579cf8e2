#ifndef VOX_MESSAGES_VOXCMDTABLE_P_H
#define VOX_MESSAGES_VOXCMDTABLE_P_H

#include <vox/messages/vox.h>
#include <vox/messages/voxcmdinfo.h>

#include <QHash>

/// How the command sets write their descriptors down.
namespace VOXCmdTable {

enum Options : unsigned char {
    Nobody = 0,
    Node = VOX::P2P,
    Everyone = VOX::BCAST,
    NodeGroup = VOX::P2P | VOX::GROUP,
    Shared = VOX::GROUP | VOX::BCAST,
    All = VOX::P2P | VOX::GROUP | VOX::BCAST
};

constexpr int None = 0;

struct Row
{
    int cmd;
    unsigned char size;
    Options options;
    int reply;
};

/// The commands of the enumeration @p Commands, which its set writes down in a header of its own.
template <typename Commands>
inline constexpr Row rowsOf[1] = {};

/// All 0 if the set does not have the command.
template <auto Command>
constexpr Row findRow()
{
    for (const Row &row : rowsOf<decltype(Command)>) {
        if (row.cmd == Command)
            return row;
    }
    return {0, 0, Nobody, None};
}

using Table = QHash<unsigned char, VOXCmdInfo>;

/// Never destroyed, so that static objects may send until the very end.
template <std::size_t Count>
const Table *build(const Row (&rows)[Count])
{
    auto *table = new Table;
    for (const Row &row : rows) {
        const auto cmd = static_cast<unsigned char>(row.cmd);
        table->insert(cmd, VOXCmdInfo(cmd, row.size, row.options, static_cast<unsigned char>(row.reply)));
    }
    return table;
}

}

#endif
