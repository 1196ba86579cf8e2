#ifndef LINEERRORS_H
#define LINEERRORS_H

#include "vox/line/linestatistics.h"

#include <QVector>

/// An item for those who look for what goes wrong, and why it is one.
struct LineError
{
    enum Kind {
        /// A frame whose check failed, garbage, or a break.
        Damaged,
        /// A frame that says that it has a CRC, but has a checksum.
        Checksum,
        /// A request, and the NACK that comes next.
        Refused,
        Refusal,
        Unanswered,
        LateOrLost,
        Late,
        Surplus,
        /// A request that began while another one waited for its answer.
        Clash
    };

    /// With @p labels, they stand beside the addresses.
    QString toString(const LineLabels *labels = nullptr) const;
    QJsonObject toJson(const LineLabels *labels = nullptr) const;

    Kind kind;
    LineItem item;
    /// The request that it is about; without bytes if it is not known.
    LineItem request;
    /// Nanoseconds from the request to its answer; -1 if that does not matter.
    qint64 answerNs = -1;
};

/// What is wrong with @p item and with what came before it, as far as that is known now.
QVector<LineError> errorsOf(const LineItem &item, const LineNotes &notes);
/// The same at a time at which nothing comes.
QVector<LineError> errorsOf(const LineNotes &notes);

#endif
