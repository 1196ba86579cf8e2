#ifndef FRAMESCANNER_H
#define FRAMESCANNER_H

#include "transport/voxframecutter.h"
#include "vox/line/lineitem.h"

#include <QMap>

#include <functional>

/// Cuts a stream of bytes into frames and garbage, and loses no byte.
///
/// The cuts are those of a receiver. Unlike that, which forgets what it drops, it also shows frames whose
/// check fails: those that reach up to a good one, to another of these, or to where the line is quiet.
class FrameScanner
{
public:
    explicit FrameScanner(std::function<void(const LineItem &)> found);

    /// Takes what has come at @p timeNs.
    void feed(const QByteArray &bytes, qint64 timeNs);
    /// The line has been quiet for as long as a receiver waits for the rest of a frame: a byte goes.
    void pause();
    /// Nothing follows any more.
    void flush();

    /// Whether there are bytes that have not been shown.
    bool hasPending() const { return !m_pending.isEmpty() || !m_garbage.isEmpty(); }

private:
    void cut();
    void dropByte();
    void showGarbage();

    std::function<void(const LineItem &)> m_found;
    VOXFrameCutter m_cutter;
    QByteArray m_pending;
    QByteArray m_garbage;
    // Where in the garbage frames begin whose check has failed, and their lengths.
    QMap<int, int> m_failed;
    qint64 m_timeNs = 0;
};

#endif
