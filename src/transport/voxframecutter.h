#ifndef VOX_TRANSPORT_VOXFRAMECUTTER_H
#define VOX_TRANSPORT_VOXFRAMECUTTER_H

#include <vox/messages/vox_export.h>

#include <QByteArray>

#include <functional>

/// Finds the frames among received bytes: the form in which they travel, their length and their check value.
///
/// On the line all bytes of a frame but its check value are complemented. Keeps no bytes and knows of no
/// device, so that all receivers, and programs that watch a line, cut alike. Reentrant.
/// @ingroup transport
class VOX_EXPORT VOXFrameCutter
{
public:
    /// What the check value of a frame says.
    enum Verdict {
        Failed,
        Intact,
        ChecksumForCrc ///< The frame says that it has a CRC, but has the right checksum. Receivers take it.
    };

    /// A verdict, and the values that it comes from.
    struct Check
    {
        /// Whether the frame is taken.
        Verdict verdict = Failed;
        bool hasCrc = false; ///< Whether the frame says that it has a CRC.
        unsigned short received = 0; ///< The check value that has come with the frame.
        unsigned short crc = 0; ///< Computed if hasCrc.
        unsigned short checksum = 0; ///< Computed if the CRC is not the one that was received.
    };

    /// What to do with the bytes that have been received so far.
    struct Cut
    {
        /// What begins with the first byte.
        enum Kind {
            Wait, ///< More may follow. If nothing does, the first byte goes.
            Drop, ///< No frame begins here: the first byte goes.
            Frame ///< One stands here. If its check value is wrong, only its first byte goes.
        };

        Kind kind; ///< What begins here.
        QByteArray frame; ///< In plain form; empty if it is no frame.
        Check check; ///< Of the frame.

        /// Whether it is a frame that receivers take.
        bool isGood() const { return kind == Frame && check.verdict != Failed; }
        /// How many bytes go now.
        int dropped() const { return kind == Wait ? 0 : isGood() ? static_cast<int>(frame.size()) : 1; }
    };

    /// Looks at nothing while there are fewer than @p minBytes, which is 2 or more. @p lengthOf gives the
    /// length that a control byte tells; by default its low five bits.
    explicit VOXFrameCutter(int minBytes, std::function<unsigned char(unsigned char)> lengthOf = {});

    /// The length that the frame at @p offset has; 0 if its control byte has not come. May be less than 11.
    int lengthAt(const QByteArray &line, int offset = 0) const;
    /// What stands at the beginning of @p line.
    Cut cut(const QByteArray &line) const;

    /// @p frame, of 11 to 31 bytes, turned between plain form and line form in place.
    static void invertBody(QByteArray &frame);
    /// The check of @p frame, in plain form. It must have 11 bytes or more.
    static Check check(const QByteArray &frame);

private:
    int m_minBytes;
    std::function<unsigned char(unsigned char)> m_lengthOf;
};

#endif
