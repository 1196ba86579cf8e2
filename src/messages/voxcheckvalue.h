#ifndef VOX_MESSAGES_VOXCHECKVALUE_H
#define VOX_MESSAGES_VOXCHECKVALUE_H

#include <vox/messages/vox_export.h>

#include <cstddef>

/// The two check values of a frame.
///
/// Both take the logical bytes and give the value of the line form, in which these bytes are complemented.
/// Without bytes the value is 0. From any thread.
/// @ingroup messages
namespace VOXCheckValue {

/// The sum of the line bytes, modulo 65536.
VOX_EXPORT unsigned short checksum(const char *data, std::size_t size);

/// CRC-16/KERMIT of the line bytes.
VOX_EXPORT unsigned short crc(const char *data, std::size_t size);

}

#endif
