#ifndef SITE_H
#define SITE_H

#include "simulation/voxsimulation.h"
#include "support/frames.h"
#include "support/pipedevice.h"

#include <QtTest>

/// A simulation on a serial bus in memory, and its peer, who speaks in bytes.
struct Site
{
    PipeDevice *device = new PipeDevice;
    VOXBus bus{device};
    VOXSimulation simulation;
    QElapsedTimer clock;
    QByteArrayList heard;
    QVector<qint64> times;

    Site()
    {
        device->onWrite = [this](const QByteArray &bytes) {
            heard += bytes;
            times += clock.elapsed();
        };
        bus.open();
        simulation.attach(&bus);
    }
    /// Sends a data test to each node, and waits for as many answers; how many came.
    int ask(const QVector<VOX::Addr> &nodes, int count = 1, int ms = 500)
    {
        heard.clear();
        times.clear();
        clock.start();
        for (const VOX::Addr node : nodes)
            device->feed(line(frame("79 55", node)));
        return QTest::qWaitFor([&] { return heard.size() >= count; }, ms) ? count : heard.size();
    }
    /// What a node answers.
    static QByteArray answer(VOX::Addr node) { return line(frameFrom(node, "7A 55")); }
};

#endif
