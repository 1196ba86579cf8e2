#include "vox/line/lineerrors.h"

namespace {
constexpr double NsPerMs = 1e6;

/// What a kind is called: in JSON, and behind the line of its item if that does not tell by itself.
struct Name
{
    LineError::Kind kind;
    const char *key;
    const char *remark;
};

const Name names[] = {{LineError::Damaged, "damaged", ""},
                      {LineError::Checksum, "checksum", ""},
                      {LineError::Refused, "refused", "REFUSED"},
                      {LineError::Refusal, "refusal", ""},
                      {LineError::Unanswered, "unanswered", "NO ANSWER"},
                      {LineError::LateOrLost, "lateOrLost", "ANSWERED LATE, OR LOST"},
                      {LineError::Late, "late", "ANSWERED LATE"},
                      {LineError::Surplus, "surplus", "ONE ANSWER MORE THAN REQUESTS"},
                      {LineError::Clash, "clash", "WHILE ANOTHER REQUEST WAITS"}};

const Name &nameOf(LineError::Kind kind)
{
    return *std::find_if(std::begin(names), std::end(names),
                         [kind](const Name &name) { return name.kind == kind; });
}

/// The error that a note about an earlier request is; false if it is none.
bool isOfBefore(LineNote::Kind kind, LineError::Kind *error)
{
    switch (kind) {
    case LineNote::Unanswered:
        *error = LineError::Unanswered;
        return true;
    case LineNote::LateOrLost:
        *error = LineError::LateOrLost;
        return true;
    case LineNote::Late:
        *error = LineError::Late;
        return true;
    default:
        return false;
    }
}
}

QString LineError::toString(const LineLabels *labels) const
{
    QString text = item.toString(labels);
    const QString remark = QString::fromLatin1(nameOf(kind).remark);
    if (!remark.isEmpty())
        text += QStringLiteral("  ") + remark;
    if (answerNs >= 0)
        text += QStringLiteral(" after %1 ms").arg(static_cast<double>(answerNs) / NsPerMs, 0, 'f', 1);
    return text;
}

QJsonObject LineError::toJson(const LineLabels *labels) const
{
    QJsonObject object = item.toJson(labels);
    object.insert(QStringLiteral("error"), QString::fromLatin1(nameOf(kind).key));
    if (answerNs >= 0)
        object.insert(QStringLiteral("answerMs"), static_cast<double>(answerNs) / NsPerMs);
    return object;
}

QVector<LineError> errorsOf(const LineNotes &notes)
{
    QVector<LineError> errors;
    for (const LineNote &note : notes) {
        LineError::Kind kind = LineError::Damaged;
        if (isOfBefore(note.kind, &kind))
            errors.push_back({kind, note.request, note.request, note.answerNs});
    }
    return errors;
}

QVector<LineError> errorsOf(const LineItem &item, const LineNotes &notes)
{
    QVector<LineError> errors = errorsOf(notes);
    LineItem request;
    for (const LineNote &note : notes) {
        if (note.kind == LineNote::Answered || note.kind == LineNote::Damaged)
            request = note.request;
        else if (note.kind == LineNote::Surplus)
            errors.push_back({LineError::Surplus, item, {}});
        else if (note.kind == LineNote::Clash)
            errors.push_back({LineError::Clash, item, item});
    }
    if (!item.isTaken())
        errors.push_back({LineError::Damaged, item, request});
    else if (item.verdict == LineItem::ChecksumForCrc)
        errors.push_back({LineError::Checksum, item, request});
    if (!item.isNack())
        return errors;
    if (!request.bytes.isEmpty())
        errors.push_back({LineError::Refused, request, request});
    errors.push_back({LineError::Refusal, item, request});
    return errors;
}
