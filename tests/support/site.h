#ifndef SITE_H
#define SITE_H

#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/frames.h"
#include "support/pipedevice.h"
#include "support/udppair.h"

#include <QNetworkDatagram>
#include <QtTest>

/// A simulation in virtual time, on a serial bus in memory or on UDP, and its peer, who speaks in bytes.
struct Site
{
    enum Wire { InMemory, Udp };

    explicit Site(Wire wire = InMemory)
    {
        if (wire == Udp) {
            const QHostAddress here(QHostAddress::LocalHost);
            const auto [from, to] = freeUdpPorts();
            auto *peer = new QUdpSocket(&simulation);
            peer->bind(here, from);
            bus = std::make_unique<VOXUdpBus>(here, from, here, to);
            feed = [=, to = to](const QByteArray &bytes) { peer->writeDatagram(bytes, here, to); };
            QObject::connect(peer, &QUdpSocket::readyRead, peer, [=] {
                while (peer->hasPendingDatagrams())
                    note(peer->receiveDatagram().data());
            });
        } else {
            auto *device = new PipeDevice;
            bus = std::make_unique<VOXBus>(device);
            feed = [=](const QByteArray &bytes) { device->feed(bytes); };
            device->onWrite = [this](const QByteArray &bytes) { note(bytes); };
        }
        bus->open();
        simulation.attach(bus.get());
    }
    Q_DISABLE_COPY_MOVE(Site)

    /// Sends data tests, "0:1 50:2": to node 1 at once, and to node 2 after 50 ms. What is heard within a
    /// second after the last one, "5<1 55<2 60<?7": ? and the size for anything else than their answers.
    QByteArray play(const QByteArray &steps)
    {
        heard.clear();
        said.clear();
        start = VOXVirtualTime::now();
        for (const QByteArray &step : steps.split(' ')) {
            const int colon = step.indexOf(':');
            VOXVirtualTime::advance(start + step.left(colon).toInt() - VOXVirtualTime::now());
            feed(line(frame("79 55", step.mid(colon + 1).toUInt(nullptr, 16))));
        }
        VOXVirtualTime::advance(1000);
        return said.trimmed();
    }
    /// How many answers come to a data test.
    int ask(VOX::Addr node) { return play("0:" + QByteArray::number(node, 16)), heard.size(); }
    /// What a node answers.
    static QByteArray answer(VOX::Addr node) { return line(frameFrom(node, "7A 55")); }

    std::unique_ptr<VOXBus> bus;
    VOXSimulation simulation;
    std::function<void(const QByteArray &)> feed;
    QByteArrayList heard;

private:
    void note(const QByteArray &bytes)
    {
        heard += bytes;
        const int node = (QByteArrayList() << answer(1) << answer(2)).indexOf(bytes) + 1;
        said += QByteArray::number(VOXVirtualTime::now() - start) + '<';
        said += (node > 0 ? QByteArray() : QByteArray("?"))
            + QByteArray::number(node > 0 ? node : bytes.size()) + ' ';
    }

    qint64 start = 0;
    QByteArray said;
};

#endif
