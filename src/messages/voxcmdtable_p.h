#ifndef VOX_MESSAGES_VOXCMDTABLE_P_H
#define VOX_MESSAGES_VOXCMDTABLE_P_H

#include <vox/messages/vox.h>
#include <vox/messages/voxcmdinfo.h>

#include <QHash>

/// The form in which the command sets write down their descriptors.
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

/// The descriptors of the commands in the enumeration @p Commands. Each set defines them in its own header.
template <typename Commands>
inline constexpr Row rowsOf[1] = {};

/// The descriptor of @p Command; all 0 if the set does not have it.
template <auto Command>
constexpr Row findRow()
{
    for (const Row &row : rowsOf<decltype(Command)>) {
        if (row.cmd == Command)
            return row;
    }
    return {0, 0, Nobody, None};
}

constexpr unsigned char byteOf(int id)
{
    return static_cast<unsigned char>(id);
}

/// @p row as hosts see it.
inline VOXCmdInfo toInfo(const Row &row)
{
    return {byteOf(row.cmd), row.size, row.options, byteOf(row.reply)};
}

using Table = QHash<unsigned char, VOXCmdInfo>;

/// The table is never destroyed, so that static objects may send until the very end.
template <std::size_t Count>
const Table *build(const Row (&rows)[Count])
{
    auto *table = new Table;
    for (const Row &row : rows)
        table->insert(byteOf(row.cmd), toInfo(row));
    return table;
}

}

#endif
