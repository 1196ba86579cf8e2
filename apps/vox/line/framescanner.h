#ifndef FRAMESCANNER_H
#define FRAMESCANNER_H

#include "transport/voxframecutter.h"
#include "vox/line/lineitem.h"

#include <QMap>

#include <deque>
#include <functional>
#include <set>

/// Cuts a stream of bytes into frames and garbage, and loses no byte.
///
/// It cuts as a receiver does. A receiver forgets the bytes that it drops; the scanner also shows frames
/// whose check fails, if they end where a good frame or another one of these begins, or where the line is
/// quiet. Garbage is shown apart where the line was quiet in between.
class FrameScanner
{
public:
    explicit FrameScanner(std::function<void(const LineItem &)> found);

    /// Takes the bytes that have come at @p timeNs.
    void feed(const QByteArray &bytes, qint64 timeNs);
    /// Drops a byte, because the line has been quiet for as long as a receiver waits for the rest of a frame.
    void pause();
    /// Shows what is left, because nothing follows any more.
    void flush();

    /// Whether there are bytes that have not been shown.
    bool hasPending() const { return !m_pending.isEmpty() || !m_garbage.isEmpty(); }

private:
    void cut();
    void dropByte();
    void show(const QByteArray &bytes, LineItem (*itemOf)(const QByteArray &, qint64));
    void showGarbage();
    std::set<int> nextRests() const;

    std::function<void(const LineItem &)> m_found;
    VOXFrameCutter m_cutter;
    QByteArray m_pending;
    QByteArray m_garbage;
    // The offsets in the garbage at which frames begin whose check has failed, with their lengths.
    QMap<int, int> m_failed;
    // What has come and is not shown yet: each chunk's time, and the number of bytes up to its end.
    struct Chunk
    {
        qint64 end;
        qint64 timeNs;
    };
    std::deque<Chunk> m_chunks;
    qint64 m_fed = 0;
    qint64 m_shown = 0;
};

#endif
