#ifndef VOX_MESSAGES_VOXCOMMANDTRAIT_H
#define VOX_MESSAGES_VOXCOMMANDTRAIT_H

#include <vox/messages/vox_export.h>

class VOXMessage;

/// What a request does, as far as a host that plans its calls has to know.
///
/// A value, from any thread.
/// @ingroup messages
struct VOX_EXPORT VOXCommandTrait
{
    /// The kinds of requests, of both command sets.
    enum Kind : int {
        Other, ///< Also all replies, and what no table knows.
        Query, ///< Asks, and changes nothing.
        Stop, ///< Ends a motion.
        AbsoluteMove, ///< Says where to go, wherever the motor is.
        RelativeMove, ///< Says how far, so twice is twice as far.
        Wink,
        Setting
    };

    /// The trait of @p request, by its command and, where one command does several things, its function.
    static VOXCommandTrait of(const VOXMessage &request);

    /// Whether it sets a motor in motion.
    bool isMotion() const { return kind == AbsoluteMove || kind == RelativeMove || kind == Wink; }

    /// Other for a frame of fewer than 11 bytes, too.
    Kind kind = Other;
    /// Whether a node that gets it twice is as if it had got it once. False for whatever no table knows.
    bool isHarmlessTwice = false;
};

#endif
