#ifndef VOX_MESSAGES_VOX_H
#define VOX_MESSAGES_VOX_H

#include <vox/messages/vox_export.h>

#include <QMetaEnum>
#include <QObject>
#include <QString>

#include <type_traits>

/// The vocabulary of the network: node types, addressing, addresses and their text forms. No instances.
///
/// From any thread.
/// @ingroup messages
class VOX_EXPORT VOX
{
    Q_GADGET

public:
    /// The type of a node. It travels in a nibble of every frame, and is in bits 24 to 27 of an address. Two
    /// values have two names; 11 and 12 have none.
    enum NodeType : int {
        NODETYPE_ANY = 0, ///< In a destination, this means a node of any type.
        NODETYPE_HRMv2_DEV = 0,
        NODETYPE_HRMv2 = 1,
        NODETYPE_TB20 = 2,
        NODETYPE_GATEWAY = 3,
        NODETYPE_4HRM_IFACE = 4,
        NODETYPE_HZR_TRANSMITTER = 5,
        NODETYPE_MARLO = 6,
        NODETYPE_QM75 = 7,
        NODETYPE_TB60LV = 8,
        NODETYPE_QM60 = 9,
        NODETYPE_TB48LV = 10,
        NODETYPE_HZR_RECEIVER = 13,
        NODETYPE_PLIANT = 14,
        NODETYPE_MASTER = 15, ///< A host; also the type of every sender to a group.
        NODETYPE_LAST = 15 ///< The highest, no type of its own.
    };
    Q_ENUM(NodeType)

    /// How a frame is addressed. Single bits, because command descriptors hold sets of them.
    enum AddrType : int { P2P = 1, GROUP = 2, BCAST = 4 };
    Q_ENUM(AddrType)

    /// This enumeration is not registered, on purpose: its text is always empty, and callers print the
    /// number.
    enum LockStatus : int { UNLOCKED = 0, LOCKED = 1 };

    /// Bits 0 to 23 hold the node address, bits 24 to 27 the node type.
    using Addr = unsigned int;
    /// The bits of an Addr without its node type.
    static constexpr Addr AddrMask = 0xffffff;
    /// The address from which hosts send, with the type of a host, NODETYPE_MASTER.
    static constexpr Addr HostAddr = 0x0f010000;

    VOX() = delete;

    /// The version of the library that runs, such as 1.0.0.
    static QString version();

    ///@{
    /// The names at run time.
    static QMetaEnum NodeTypeMetaEnum();
    static QMetaEnum AddrTypeMetaEnum();
    ///@}
    /// Always invalid.
    static QMetaEnum LockStatusMetaEnum();

    /// Bits 24 to 27 of @p addr; 11 and 12 have no name.
    static NodeType getType(unsigned int addr);
    /// Cuts @p addr to 24 bits and the type to four.
    static unsigned int makeAddr(NodeType type, int addr);

    ///@{
    /// The key's name; empty if the value has none, which is so for every LockStatus. If there are two names,
    /// the first one is given.
    static QString toString(NodeType type);
    static QString toString(AddrType type);
    static QString toString(LockStatus status);
    ///@}
    /// A command's name, from the KVR set if it has one, else from the HRMv2 set; empty if neither has.
    static QString toString(unsigned char cmd);
    ///@{
    /// An address as at least six upper-case hexadecimal digits; seven with a node type.
    static QString toString(unsigned int addr);
    static QString toString(int addr);
    ///@}
    /// Other enumerations have no text here, and do not compile: their number would be taken for an address.
    /// Pass a command of an enumeration as an unsigned char, or to KVR::toString().
    template <typename Enum, typename = std::enable_if_t<std::is_enum_v<Enum>>>
    static QString toString(Enum) = delete;

    ///@{
    /// The text that logs use: the name, or UNKNOWN with two hexadecimal digits.
    static QString logText(unsigned char cmd);
    static QString logText(NodeType type);
    ///@}
    /// Node type and address. Ends in two closing parentheses, which readers of these logs expect.
    static QString logText(unsigned int addr);

    /// Reads an address of six hexadecimal digits. False if @p text is none; @p addr then stays as it is.
    static bool readAddr(const QString &text, unsigned int *addr);
    /// Why no node can have this address; empty if one can.
    static QString nodeAddrProblem(unsigned int addr);
    /// Reads the address of a node. False if @p text is none; @p problem says why, in one line.
    static bool readNodeAddr(const QString &text, unsigned int *addr, QString *problem);

    /// Little-endian, two bytes.
    static void htovox(unsigned short value, unsigned char *bytes);
    /// Little-endian, and only three bytes: the form of an address.
    static void htovox(unsigned int value, unsigned char *bytes);
    /// Reads two bytes.
    static void voxtoh(const unsigned char *bytes, unsigned short &value);
    /// Reads three bytes; bits 24 to 31 become 0.
    static void voxtoh(const unsigned char *bytes, unsigned int &value);

    /// Registers the types that travel in signals, slots and properties. The classes that have these call it.
    static void registerMetaTypes();
};

#endif
