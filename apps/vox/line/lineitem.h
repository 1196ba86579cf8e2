#ifndef LINEITEM_H
#define LINEITEM_H

#include "messages/voxmessage.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

/// Something that came over a line: a frame, or bytes that are none.
struct LineItem
{
    enum Verdict {
        Intact,
        /// A frame that says it has a CRC, but has the right checksum; buses take it.
        ChecksumForCrc,
        Failed,
        Garbage
    };

    /// What @p bytes are if they came alone, in line form.
    static LineItem of(const QByteArray &bytes, qint64 timeNs);

    bool isFrame() const { return verdict != Garbage; }
    bool isTaken() const { return verdict == Intact || verdict == ChecksumForCrc; }
    bool isNack() const;

    /// For people, in one line.
    QString toString() const;
    QJsonObject toJson() const;

    /// Nanoseconds since 1970.
    qint64 timeNs = 0;
    /// In line form.
    QByteArray bytes;
    Verdict verdict = Garbage;
    /// In logical form; of no bytes for garbage.
    VOXMessage frame;
};

/// The frame of @p bytes turned between line form and logical form.
QByteArray inverted(QByteArray bytes);

#endif
