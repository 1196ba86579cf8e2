#ifndef VOX_MESSAGES_VOXMESSAGE_H
#define VOX_MESSAGES_VOXMESSAGE_H

#include <vox/framework/busmessage.h>
#include <vox/messages/vox.h>

/// One frame of 11 to 31 bytes in its logical form: header, data area and check value.
///
/// Byte 0 is the command, byte 1 the control byte (ack flag, CRC flag, length), byte 2 the two node types,
/// bytes 3 to 5 the source and 6 to 8 the destination. The data area starts at 9. All fields are
/// little-endian but the check value in the last two bytes, whose high byte comes first; that is the format.
/// If the frame is too short for a field, the field's getter gives 0 or false, and its setter does nothing.
/// Shared and reentrant as every BusMessage.
/// @ingroup messages
class VOX_EXPORT VOXMessage : public BusMessage
{
public:
    ///@{
    /// In bytes.
    static constexpr int HeaderLength = 9;
    static constexpr int CheckLength = 2;
    static constexpr int MinLength = HeaderLength + CheckLength;
    static constexpr int MaxLength = 31;
    ///@}
    /// Where the control byte is.
    static constexpr int ControlOffset = 1;
    /// The bits of the control byte that hold the length.
    static constexpr unsigned char LengthMask = 0x1f;
    ///@{
    /// A bit of the control byte.
    static constexpr unsigned char CrcFlag = 0x20;
    static constexpr unsigned char AckFlag = 0x80;
    ///@}

    /// A frame of no bytes.
    VOXMessage();
    /// A frame of as many bytes as the length bits of @p ctrl say, with @p ctrl as its control byte. All
    /// other bytes are 0.
    explicit VOXMessage(unsigned char ctrl);
    /// Shares the bytes, and everything else, of @p message.
    VOXMessage(const BusMessage &message);

    ///@{
    /// An id of the KVR or the HRMv2 set; 0 is none.
    unsigned char cmd() const;
    void setCmd(unsigned char cmd);
    ///@}

    /// The low eight bits of the count of bytes. This is not the length field.
    unsigned char len() const;
    /// Resizes to @p length, clamped to 11 to 31, and keeps the flags. New bytes are 0.
    void setLen(unsigned char length);
    /// Resizes to the length bits of @p ctrl, unclamped, and replaces the control byte with its flags.
    void setExtLen(unsigned char ctrl);

    ///@{
    /// Whether the sender asks for an acknowledgement.
    bool isAck() const;
    void setAck(bool ack);
    ///@}
    ///@{
    /// Whether the check value is the CRC; else it is the checksum.
    bool isCRC() const;
    void setCRC(bool crc);
    ///@}

    ///@{
    /// The nibbles as they are. Types 11 and 12 have no name.
    VOX::NodeType srcNodeType() const;
    void setSrcNodeType(VOX::NodeType type);
    VOX::NodeType destNodeType() const;
    void setDestNodeType(VOX::NodeType type);
    ///@}

    ///@{
    /// An address of 24 bits, with the node type in bits 24 to 27 if @p withType. A setter also sets the node
    /// type; a bare address sets it to 0.
    unsigned int srcAddr(bool withType) const;
    void setSrcAddr(unsigned int addr);
    unsigned int destAddr(bool withType) const;
    void setDestAddr(unsigned int addr);
    ///@}

    /// The address that a group or broadcast frame carries in place of its source; its type is the low
    /// nibble.
    unsigned int bcastAddr(bool withType) const;
    /// Makes a group frame. The sender's type takes the high nibble, the group's own the low one.
    void setGroupAddr(unsigned int addr, VOX::NodeType type);
    /// Makes a broadcast frame. The nibbles are placed the other way round than in a group frame; that is the
    /// format.
    void setBcastAddr(unsigned int addr, VOX::NodeType type);

    /// The destination bytes alone decide: all 00 is a group frame, all FF a broadcast.
    VOX::AddrType addrType() const { return addrType(data()); }
    /// The same for the bytes of a frame.
    static VOX::AddrType addrType(const QByteArray &frame);

    /// Whether length and length field agree, are at least 11, and there is a command. Does not look at the
    /// check value.
    bool isValid() const;

    /// Fills in the check value. Nothing happens to a frame of fewer than 11 bytes.
    void prepare() override;

protected:
    /// Adopts @p data, which a subclass has created on the heap.
    explicit VOXMessage(BusMessageData &data);

private:
    static const VOXMessage &empty();
    unsigned char byteAt(int index) const;
    void setByteAt(int index, unsigned char value);
    void setFlag(unsigned char flag, bool on);
    unsigned int addrAt(int index) const;
    void setAddrAt(int index, unsigned int addr);
};

Q_DECLARE_METATYPE(VOXMessage)

#endif
