#ifndef LINEITEM_H
#define LINEITEM_H

#include "messages/voxfield.h"
#include "messages/voxmessage.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

class LineLabels;

/// An item that came over a line: a frame, or bytes that are no frame. Its time is that of its last byte.
struct LineItem
{
    enum Verdict {
        Intact,
        /// The frame says that it has a CRC, but has the right checksum. Buses take it.
        ChecksumForCrc,
        Failed,
        Garbage,
        /// Nothing but zero bytes: the line was held low. Receivers take 31 of them for a frame.
        Break
    };

    /// The columns that the time takes at the beginning of a line.
    static constexpr int TimeWidth = 14;

    /// The item that @p bytes, in line form, are if they came alone.
    static LineItem of(const QByteArray &bytes, qint64 timeNs);
    /// The same for bytes of which it is known that they are no frame.
    static LineItem noFrame(const QByteArray &bytes, qint64 timeNs);

    bool isFrame() const { return verdict <= Failed; }
    bool isTaken() const { return verdict <= ChecksumForCrc; }
    bool isNack() const;

    /// One line for people. With @p labels, they stand beside the addresses. @p answerNs is the time from the
    /// request to this answer, in nanoseconds; -1 if it is none.
    QString toString(const LineLabels *labels = nullptr, qint64 answerNs = -1) const;
    QJsonObject toJson(const LineLabels *labels = nullptr, qint64 answerNs = -1) const;

    /// Nanoseconds since 1970.
    qint64 timeNs = 0;
    /// In line form.
    QByteArray bytes;
    Verdict verdict = Garbage;
    /// The frame in logical form; it has no bytes for what is none.
    VOXMessage frame;
};

/// The name of @p cmd in the command set that goes first, or else in the other; empty if neither has it.
QString nameOf(unsigned char cmd, VOXField::Meaning meaning = VOXField::InKVR);
/// The frame of @p bytes turned between line form and logical form.
QByteArray inverted(QByteArray bytes);

#endif
