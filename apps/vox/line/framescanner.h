#ifndef FRAMESCANNER_H
#define FRAMESCANNER_H

#include "vox/line/lineitem.h"

#include <functional>

/// Cuts a stream of bytes into frames and garbage, and loses no byte.
///
/// Unlike a bus, which forgets what it cannot use, it also shows frames whose check fails: those that stand
/// between two pauses of the line, or before a good one.
class FrameScanner
{
public:
    explicit FrameScanner(std::function<void(const LineItem &)> found);

    /// Takes what has come at @p timeNs.
    void feed(const QByteArray &bytes, qint64 timeNs);
    /// The line pauses: what is there will not go on.
    void flush();

    bool hasPending() const { return !m_pending.isEmpty(); }

private:
    bool takeOne(bool isAtEnd);
    void take(int count);
    void dropByte();
    void showGarbage();

    std::function<void(const LineItem &)> m_found;
    QByteArray m_pending;
    QByteArray m_garbage;
    qint64 m_timeNs = 0;
};

#endif
