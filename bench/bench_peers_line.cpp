// A line of 4800 bit/s with sixty nodes, five of them dead, as a host has it through a VOXScheduler, and
// through Qt's master of Modbus RTU: polls a second, and how long an urgent write waits. Takes two minutes.
//
// Each host has a port of the system, a pseudo-terminal, with the same relay behind it, which lets each byte
// take its time and each answer 5 to 40 ms. A poll has 27 bytes to and fro with both, and each byte 11 bits.

#include "devices/tb60lvstub.h"
#include "messages/kvr.h"
#include "network/voxscheduler.h"
#include "proxies/kvrmotorproxy.h"
#include "support/ptyline.h"
#include "transport/voxbus.h"
#include "transport/voxframecutter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QModbusDataUnit>
#include <QModbusReply>
#include <QModbusRtuSerialMaster>
#include <QTimer>
#include <QVariant>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <memory>
#include <optional>
#include <random>
#include <vector>

namespace {
constexpr int NodeCount = 60;
constexpr int DeadCount = 5;
constexpr int DurationMs = 120000;
constexpr int MostGapMs = 1300;
constexpr int LeastGapMs = 300;
constexpr quint32 Seed = 1;
constexpr double NsPerMs = 1000000;
constexpr double MsPerSecond = 1000;

/// Polls all nodes without a pause, and writes something urgent now and then.
class Host : public QObject
{
public:
    explicit Host(const char *name, int leastTurnMs)
        : line(leastTurnMs)
        , m_name(name)
    {
        line.onHostBytes = [this](const QByteArray &bytes) {
            if (!isUrgent(bytes) || m_asked.empty())
                return;
            m_waits.push_back(nowMs() - m_asked.front());
            m_asked.pop_front();
        };
    }

    void start()
    {
        m_clock.start();
        next();
    }
    void stop() { m_tookMs = nowMs(); }

    void print()
    {
        std::sort(m_waits.begin(), m_waits.end());
        const auto part = [this](std::size_t percent) {
            return m_waits.at((m_waits.size() - 1) * percent / 100);
        };
        std::printf("| %-46s | %4.1f | %5.0f | %5.0f | %5.0f |\n", m_name, m_polls * MsPerSecond / m_tookMs,
                    part(50), part(99), m_waits.back());
        if (m_unacknowledged > 0)
            std::printf("  %d of %d were not acknowledged\n", m_unacknowledged, int(m_waits.size()));
    }

protected:
    /// Writes something urgent to a living node, and calls handleWritten() at the end.
    virtual void writeUrgently(int node) = 0;
    /// Whether @p bytes, which have come onto the line, begin with something urgent.
    virtual bool isUrgent(const QByteArray &bytes) const = 0;

    void handlePolled() { ++m_polls; }
    void handleWritten(bool isAcknowledged) { m_unacknowledged += isAcknowledged ? 0 : 1; }

    PtyLine line;

private:
    double nowMs() const { return double(m_clock.nsecsElapsed()) / NsPerMs; }
    void next()
    {
        const auto gapMs = LeastGapMs + static_cast<int>(m_random() % (MostGapMs - LeastGapMs));
        QTimer::singleShot(gapMs, Qt::PreciseTimer, this, [this] {
            next();
            m_asked.push_back(nowMs());
            writeUrgently(static_cast<int>(m_random() % (NodeCount - DeadCount)));
        });
    }

    const char *m_name;
    std::minstd_rand m_random{Seed};
    QElapsedTimer m_clock;
    std::deque<double> m_asked;
    std::vector<double> m_waits;
    double m_polls = 0;
    double m_tookMs = 0;
    int m_unacknowledged = 0;
};

class SchedulerHost : public Host
{
public:
    // The nodes' bus waits for 5 ms itself.
    SchedulerHost()
        : Host("VOXScheduler, polls from a source", 0)
        , m_nodes(line.takeNodesEnd())
        , m_bus(line.portName())
    {
        m_nodes.open();
        for (unsigned int i = 0; i < NodeCount - DeadCount; ++i)
            m_motors.push_back(std::make_unique<TB60LVStub>(First + i, &m_nodes));
        if (!m_bus.open())
            qFatal("%s", qPrintable(m_bus.errorString()));
        VOXScheduler::Limits limits;
        limits.maxLoadPercent = limits.automaticLoadPercent = 100;
        m_scheduler.setLimits(limits);
        connect(&m_scheduler, &VOXScheduler::answered, this, [this](VOX::Addr, const BusMessage &request) {
            if (VOXMessage(request).cmd() == KVR::GET_MOTOR_POSITION)
                handlePolled();
        });
        m_scheduler.setPollSource([this](int *) {
            return std::optional<VOXCall>(VOXCall(KVR::findCmd(KVR::GET_MOTOR_POSITION), VOX::HostAddr,
                                                  First + m_turn++ % NodeCount, 0));
        });
    }

protected:
    void writeUrgently(int node) override
    {
        KVRMotorProxy(First + unsigned(node), m_scheduler.lane(VOXScheduler::User))
            .ctrlStop()
            .onFinished(this, [this](const BusPendingCall &call) {
                handleWritten(!call.isError() && KVR::isAck(VOXMessage(call.reply())));
            });
    }
    bool isUrgent(const QByteArray &bytes) const override
    {
        QByteArray frame = bytes;
        VOXFrameCutter::invertBody(frame);
        return VOXMessage(BusMessage(frame)).cmd() == KVR::CTRL_STOP;
    }

private:
    static constexpr VOX::Addr First = 0x000100;

    VOXBus m_nodes;
    std::vector<std::unique_ptr<TB60LVStub>> m_motors;
    VOXBus m_bus;
    VOXScheduler m_scheduler{&m_bus};
    unsigned int m_turn = 0;
};

/// Servers of Modbus RTU that answer what the host here asks for: to read registers, and to write one.
class ModbusServers : public QObject
{
public:
    explicit ModbusServers(QIODevice *device)
        : m_device(device)
    {
        connect(device, &QIODevice::readyRead, this, &ModbusServers::serve);
    }

private:
    static constexpr int RequestLength = 8;

    static QByteArray checked(QByteArray bytes)
    {
        unsigned int crc = 0xffff;
        for (const char byte : bytes) {
            crc ^= static_cast<unsigned char>(byte);
            for (int bit = 0; bit < 8; ++bit)
                crc = (crc & 1) != 0 ? crc >> 1 ^ 0xa001 : crc >> 1;
        }
        return bytes.append(char(crc)).append(char(crc >> 8));
    }

    void serve()
    {
        m_received += m_device->readAll();
        while (m_received.size() >= RequestLength) {
            const QByteArray request = m_received.left(RequestLength);
            if (checked(request.left(RequestLength - 2)) != request) {
                m_received.remove(0, 1);
                continue;
            }
            m_received.remove(0, RequestLength);
            if (request.at(0) > NodeCount - DeadCount)
                continue;
            const int count = 2 * request.at(5);
            const bool isRead = request.at(1) == QModbusPdu::ReadHoldingRegisters;
            m_device->write(isRead ? checked(request.left(2) + char(count) + QByteArray(count, '\0'))
                                   : request);
        }
    }

    QIODevice *m_device;
    QByteArray m_received;
};

class ModbusHost : public Host
{
public:
    /// @p queueLength reads wait in the master's queue.
    ModbusHost(const char *name, int queueLength)
        : Host(name, LeastTurnMs)
        , m_nodesEnd(line.takeNodesEnd())
        , m_servers(m_nodesEnd.get())
    {
        m_master.setConnectionParameter(QModbusDevice::SerialPortNameParameter, line.portName());
        m_master.setConnectionParameter(QModbusDevice::SerialBaudRateParameter, 4800);
        m_master.setConnectionParameter(QModbusDevice::SerialParityParameter, QSerialPort::EvenParity);
        m_master.setTimeout(TimeoutMs);
        m_master.setNumberOfRetries(0);
        if (!m_master.connectDevice())
            qFatal("%s", qPrintable(m_master.errorString()));
        for (int i = 0; i < queueLength; ++i)
            poll();
    }
    // All that waits ends then, and nobody asks again.
    ~ModbusHost() override { m_isOver = true; }

protected:
    void writeUrgently(int node) override
    {
        watch(
            m_master.sendWriteRequest({QModbusDataUnit::HoldingRegisters, 0, QVector<quint16>{1}}, node + 1),
            [this](bool isAnswered) { handleWritten(isAnswered); });
    }
    bool isUrgent(const QByteArray &bytes) const override
    {
        return bytes.size() > 1 && bytes.at(1) == QModbusPdu::WriteSingleRegister;
    }

private:
    // As a scheduler's call: 200 ms, and the time of its frame.
    static constexpr int TimeoutMs = 200 + 18;
    static constexpr int LeastTurnMs = 5;
    // 8 bytes to and 19 fro.
    static constexpr int RegisterCount = 7;

    void poll()
    {
        if (m_isOver)
            return;
        const int node = m_turn++ % NodeCount;
        watch(m_master.sendReadRequest({QModbusDataUnit::HoldingRegisters, 0, RegisterCount}, node + 1),
              [this](bool isAnswered) {
                  if (isAnswered)
                      handlePolled();
                  poll();
              });
    }

    template <typename Function>
    void watch(QModbusReply *reply, Function function)
    {
        if (!reply)
            qFatal("%s", qPrintable(m_master.errorString()));
        connect(reply, &QModbusReply::finished, this, [reply, function] {
            reply->deleteLater();
            function(reply->error() == QModbusDevice::NoError);
        });
    }

    std::unique_ptr<QIODevice> m_nodesEnd;
    ModbusServers m_servers;
    QModbusRtuSerialMaster m_master;
    int m_turn = 0;
    bool m_isOver = false;
};
}

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("vox.bus=false\nqt.modbus*=false"));
    SchedulerHost scheduler;
    ModbusHost oneAtATime("QModbusRtuSerialMaster, one read at a time", 1);
    ModbusHost queued("QModbusRtuSerialMaster, a round of reads queued", NodeCount);
    Host *const hosts[] = {&scheduler, &oneAtATime, &queued};
    for (Host *host : hosts)
        host->start();
    QTimer::singleShot(DurationMs, &app, &QCoreApplication::quit);
    QCoreApplication::exec();
    std::printf("4800 bit/s, %d nodes, %d of them dead\n"
                "| Host | Polls a second | Wait of an urgent write, ms: median | p99 | worst |\n",
                NodeCount, DeadCount);
    for (Host *host : hosts)
        host->stop();
    for (Host *host : hosts)
        host->print();
    return 0;
}
