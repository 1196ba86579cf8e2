#ifndef CROWD_H
#define CROWD_H

#include "devices/tb60lvstub.h"

#include <QBasicTimer>

#include <array>
#include <memory>
#include <random>
#include <vector>

/// The motors of all lines, which come, go, join groups and change their addresses. Lives on a thread of its
/// own; the buses do not.
class Crowd : public QObject
{
    Q_OBJECT

public:
    static constexpr unsigned int LineCount = 4;
    static constexpr unsigned int NodesPerLine = 25;
    static constexpr unsigned int Group = 0x00a001;
    using Lines = std::array<VOXBus *, LineCount>;

    Crowd(const Lines &lines, quint32 seed);

    /// Where the node of this number on its line is, if it is not somewhere else just now.
    static unsigned int home(unsigned int node) { return FirstAddr + node; }

    void start();
    /// Stops, and makes all nodes anew.
    void renew();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    static constexpr unsigned int FirstAddr = 0x000100;

    VOXBus *lineOf(std::size_t index) const { return m_lines.at(index / NodesPerLine); }
    void putBack(std::size_t index);
    void disturb(std::size_t index);

    Lines m_lines;
    std::minstd_rand m_random;
    std::vector<std::unique_ptr<TB60LVStub>> m_nodes;
    std::size_t m_disturbed = 0;
    QBasicTimer m_timer;
};

#endif
