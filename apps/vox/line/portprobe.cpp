#include "vox/line/portprobe.h"

#include "transport/voxbus.h"
#include "transport/voxbusurl.h"
#include "vox/line/framescanner.h"
#include "vox/line/linetap.h"

#include <QEventLoop>
#include <QTimer>

namespace {
constexpr int TickMs = 100;
constexpr int QuestionMs = 1000;
constexpr qint64 BitsPerByte = 11;
constexpr qint64 NsPerSecond = 1000000000;
}

struct PortProbe::Listening
{
    Listening(Setting &heard, const QByteArray &asked)
        : setting(heard)
        , question(asked)
    {
    }

    void take(const LineItem &item)
    {
        if (item.bytes == question)
            return;
        setting.bytes += static_cast<int>(item.bytes.size());
        if (!item.isTaken())
            setting.rests.addDamage(item, BitsPerByte * NsPerSecond / setting.rate);
        if (!item.isFrame())
            return;
        ++(item.isTaken() ? setting.frames : setting.failed);
        if (setting.frames >= EnoughFrames)
            loop.quit();
    }

    Setting &setting;
    const QByteArray &question;
    QEventLoop loop;
    FrameScanner scanner{[this](const LineItem &item) { take(item); }};
};

QVector<PortProbe::Setting> PortProbe::settings()
{
    QVector<Setting> all;
    for (const VOXBus::BaudRate rate :
         {VOXBus::BAUD_4800, VOXBus::BAUD_9600, VOXBus::BAUD_19200, VOXBus::BAUD_38400, VOXBus::BAUD_57600,
          VOXBus::BAUD_2400, VOXBus::BAUD_1200}) {
        for (const auto parity : {QSerialPort::OddParity, QSerialPort::EvenParity, QSerialPort::NoParity})
            all += Setting{rate, parity, false, 0, 0, 0, {}, {}};
    }
    return all;
}

PortProbe::PortProbe() = default;
PortProbe::~PortProbe() = default;

bool PortProbe::open(const QString &path, QIODevice::OpenMode mode, QString *problem)
{
    m_port.setPortName(path);
    if (m_port.open(mode))
        return true;
    *problem = VOXBusUrl::openProblem(path, m_port.errorString());
    return false;
}

void PortProbe::listen(int ms, Setting *setting, QString *problem)
{
    setting->isRefused = !m_port.setBaudRate(setting->rate) || !m_port.setDataBits(QSerialPort::Data8)
        || !m_port.setParity(setting->parity) || !m_port.setStopBits(QSerialPort::OneStop);
    if (setting->isRefused)
        return;
    // What has come before came with another setting.
    m_port.clear(QSerialPort::Input);
    const std::optional<PortErrors> before = PortErrors::of(m_port.handle());
    Listening listening{*setting, m_question};
    m_listening = &listening;
    QEventLoop &loop = listening.loop;
    QObject::connect(&m_port, &QIODevice::readyRead, &loop,
                     [this] { m_listening->scanner.feed(m_port.readAll(), LineTap::nowNs()); });
    QObject::connect(&m_port, &QSerialPort::errorOccurred, &loop, [&] {
        if (!VOXBus::hasGone(m_port))
            return;
        *problem = QStringLiteral("%1 has gone: %2").arg(m_port.portName(), m_port.errorString());
        loop.quit();
    });
    const auto ask = [this] {
        if (!m_question.isEmpty())
            m_port.write(m_question);
    };
    QTimer end;
    QTimer tick;
    QTimer question;
    end.setSingleShot(true);
    QObject::connect(&end, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&tick, &QTimer::timeout, &loop, [this] {
        if (onTick)
            onTick();
    });
    QObject::connect(&question, &QTimer::timeout, &loop, ask);
    end.start(ms);
    tick.start(TickMs);
    question.start(QuestionMs);
    ask();
    loop.exec();
    listening.scanner.flush();
    m_listening = nullptr;
    const std::optional<PortErrors> after = PortErrors::of(m_port.handle());
    if (before && after)
        setting->errors = after->since(*before);
}

void PortProbe::stop()
{
    if (m_listening)
        m_listening->loop.quit();
}
