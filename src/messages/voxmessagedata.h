#ifndef VOX_MESSAGES_VOXMESSAGEDATA_H
#define VOX_MESSAGES_VOXMESSAGEDATA_H

#include <vox/framework/busmessagedata.h>
#include <vox/messages/vox_export.h>

/// The shared data of a frame: completes it with its check value.
///
/// Owned by the messages that share it. Reentrant.
/// @ingroup messages
class VOX_EXPORT VOXMessageData : public BusMessageData
{
public:
    using BusMessageData::BusMessageData;

    VOXMessageData *clone() const override;
    /// Fills in the check value, the CRC or the checksum as the control byte says. Nothing happens to a frame
    /// of fewer than 11 bytes.
    void prepare() override;

    /// The same for @p data, of whatever class. False if it is too short.
    static bool complete(BusMessageData &data);
};

#endif
