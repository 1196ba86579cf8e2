#ifndef VOX_MESSAGES_VOXCMDINFO_H
#define VOX_MESSAGES_VOXCMDINFO_H

#include <vox/messages/vox_export.h>

#include <QSharedDataPointer>

/// The descriptor of a command: its id, the length of its frame, how it may be addressed and what answers it.
///
/// An implicitly shared value that does not change; reentrant.
/// @ingroup messages
class VOX_EXPORT VOXCmdInfo
{
public:
    /// An invalid descriptor, all 0.
    VOXCmdInfo();
    /// The fields of the four getters, in their order.
    VOXCmdInfo(unsigned char cmd, unsigned char size, unsigned char options, unsigned char reply);
    ///@{
    /// Shares the fields.
    VOXCmdInfo(const VOXCmdInfo &other);
    VOXCmdInfo &operator=(const VOXCmdInfo &other);
    ///@}
    ~VOXCmdInfo();

    /// The command's id; 0 in an invalid descriptor.
    unsigned char cmd() const;
    /// The control byte of the command's frame: its length, with flags in rare cases.
    unsigned char size() const;
    /// A set of VOX::AddrType with which the command is meant to be sent. Never enforced.
    unsigned char options() const;
    /// The id of the reply; 0 if the command is answered by ACK or NACK at most.
    unsigned char reply() const;

    /// Whether it describes a command. Every command has a length.
    bool isValid() const { return size() != 0; }

    ///@{
    /// Compares the fields.
    bool operator==(const VOXCmdInfo &other) const;
    bool operator!=(const VOXCmdInfo &other) const { return !(*this == other); }
    ///@}

private:
    struct Data;
    QSharedDataPointer<Data> d;
};

#endif
