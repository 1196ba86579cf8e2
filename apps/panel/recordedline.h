#ifndef RECORDEDLINE_H
#define RECORDEDLINE_H

#include "panel/linehistory.h"
#include "vox/line/lineitem.h"

#include <optional>

/// Tells a history what a recorded line was taken for: exchanges, from the first byte of a request to the
/// last one of its answer, as on a line that is live. Who has sent a frame of the host, and what for, no
/// recording says: what changes or moves something counts as the user's.
///
/// Items come in their order. Times are milliseconds of the history's clock, of an item's last byte.
class RecordedLine
{
public:
    void take(const LineItem &item, qint64 ms, LineHistory &history);

private:
    struct Exchange
    {
        VOX::Addr node;
        LineHistory::Kind kind;
        qint64 fromMs;
        bool isAwaited;
    };

    void begin(const VOXMessage &request, qint64 fromMs, qint64 ms, LineHistory &history);
    void end(qint64 ms, LineHistory &history);

    std::optional<Exchange> m_exchange;
};

#endif
