#include "devices/kvrdevice.h"

#include "devices/voxanswer_p.h"
#include "messages/kvrack.h"
#include "transport/voxbus.h"

#include <QDate>
#include <QTimerEvent>

#include <algorithm>
#include <utility>

using namespace VOXAnswer;

namespace {
constexpr int DefaultGroupCount = 16;
constexpr int DiscoverySilenceMs = 300000;
/// In a field of SET_NETWORK_CONFIG, this value leaves the setting as it is.
constexpr unsigned char Unchanged = 255;
constexpr unsigned char FirstResetCount = 254;

template <typename Value>
bool store(Value &stored, const Value &value)
{
    if (stored == value)
        return false;
    stored = value;
    return true;
}
}

KVRDevice::Handler KVRDevice::findHandler(unsigned char cmd)
{
    using D = KVRDevice;
    static constexpr Table handlers({
        on<KVR::GET_NODE_ADDR, &D::nodeAddrReply, AnyLength>,
        on<KVR::GET_GROUP_ADDR, &D::groupAddrReply>,
        on<KVR::GET_NODE_LABEL, &D::nodeLabelReply, AnyLength>,
        on<KVR::GET_NETWORK_CONFIG, &D::networkConfigReply, AnyLength>,
        on<KVR::GET_NODE_SERIAL_NUMBER, &D::serialNumberReply, AnyLength>,
        on<KVR::GET_NETWORK_ERROR_STAT, &D::networkErrorStatReply, AnyLength>,
        on<KVR::GET_NETWORK_STAT, &D::networkStatReply, AnyLength>,
        on<KVR::SET_NODE_DISCOVERY, &D::handleNodeDiscovery>,
        on<KVR::SET_GROUP_ADDR, &D::handleGroupAddr>,
        on<KVR::SET_NODE_LABEL, &D::handleNodeLabel>,
        on<KVR::SET_NETWORK_CONFIG, &D::handleNetworkConfig>,
        on<KVR::SET_NETWORK_STAT, &D::handleNetworkStat>,
        on<KVR::GET_NODE_STACK_VERSION, &D::stackVersionReply, AnyLength>,
        on<KVR::GET_NODE_APP_VERSION, &D::appVersionReply, AnyLength>,
        on<KVR::SEND_DATA_TEST1, &D::dataTestReply, AnyLength>,
        on<KVR::SEND_DATA_TEST2, &D::dataTestReply, AnyLength>,
        on<KVR::SEND_DATA_TEST3, &D::dataTestReply, AnyLength>,
    });
    return handlers.find(cmd);
}

KVRDevice::KVRDevice(unsigned int addr, VOXBus *bus, QObject *parent)
    : VOXDevice(addr, bus, parent)
    , m_groups(DefaultGroupCount, 0)
{
}

KVRDevice::~KVRDevice()
{
    KVRDevice::detach();
}

void KVRDevice::setNodeLabel(const QByteArray &label)
{
    if (!store(m_nodeLabel, label))
        return;
    m_nodeLabel.truncate(KVR::LabelLength);
    tell([this, changed = m_nodeLabel] { Q_EMIT nodeLabelChanged(changed); });
}

void KVRDevice::setSerialNumber(const QByteArray &serial)
{
    if (!serial.isEmpty()) {
        // The generated serial number is longer, and stays so if it is set again.
        if (serial != m_serialNumber)
            m_serialNumber = serial.left(KVR::SerialLength);
        return;
    }
    int year = 0;
    const int week = QDate::currentDate().weekNumber(&year);
    const QLatin1Char zero('0');
    m_serialNumber = QStringLiteral("%1XX%2%3")
                         .arg(VOX::toString(addr(false)))
                         .arg(year, 2, 10, zero)
                         .arg(week, 2, 10, zero)
                         .toUtf8();
}

void KVRDevice::setAppVersion(const KVRStdProxy::AppVersion &version)
{
    if (store(m_appVersion, version))
        tell([this, version] { Q_EMIT appVersionChanged(version); });
}

void KVRDevice::setStackVersion(const KVRStdProxy::AppVersion &version)
{
    if (store(m_stackVersion, version))
        tell([this, version] { Q_EMIT stackVersionChanged(version); });
}

void KVRDevice::setNetworkConfig(const KVRStdProxy::NetworkConfig &config)
{
    if (store(m_networkConfig, config))
        tell([this, config] { Q_EMIT networkConfigChanged(config); });
}

bool KVRDevice::setGroupAddr(unsigned char index, unsigned int addr)
{
    const QMutexLocker locker(&m_mutex);
    if (index >= m_groups.size())
        return false;
    const unsigned int old = m_groups.at(index);
    m_groups[index] = addr;
    VOXBus *bus = voxBus();
    if (bus && old != 0 && !m_groups.contains(old)) {
        bus->groupDetach(*this, old);
        m_registeredGroups.remove(old);
    }
    if (bus && addr != 0)
        registerGroup(*bus, addr);
    return true;
}

// An earlier registration is undone first, so that a group in two slots is not delivered twice.
void KVRDevice::registerGroup(VOXBus &bus, unsigned int group)
{
    bus.groupDetach(*this, group);
    bus.groupAttach(*this, group);
    m_registeredGroups.insert(group);
}

bool KVRDevice::groupAddr(unsigned char index, unsigned int &addr) const
{
    if (index >= m_groups.size())
        return false;
    addr = m_groups.at(index);
    return true;
}

void KVRDevice::setGroupCount(int count)
{
    const QMutexLocker locker(&m_mutex);
    m_groups.resize(std::max(0, count));
}

void KVRDevice::addCustomReply(KVR::Cmd cmd, const VOXMessage &reply)
{
    m_customReplies.insert(cmd, reply);
}

void KVRDevice::removeCustomReply(KVR::Cmd cmd)
{
    m_customReplies.remove(cmd);
}

bool KVRDevice::hasCustomReply(KVR::Cmd cmd) const
{
    return m_customReplies.contains(cmd);
}

bool KVRDevice::attach(VOXBus *bus)
{
    if (!VOXDevice::attach(bus))
        return false;
    const QMutexLocker locker(&m_mutex);
    for (const unsigned int group : qAsConst(m_groups)) {
        if (bus && group != 0)
            registerGroup(*bus, group);
    }
    return true;
}

void KVRDevice::detach()
{
    {
        const QMutexLocker locker(&m_mutex);
        VOXBus *bus = voxBus();
        for (const unsigned int group : qAsConst(m_registeredGroups)) {
            if (bus)
                bus->groupDetach(*this, group);
        }
        m_registeredGroups.clear();
    }
    VOXDevice::detach();
}

bool KVRDevice::isDeafTo(const VOXMessage &msg) const
{
    return m_networkConfig.deafMode() && msg.cmd() != KVR::SET_NETWORK_CONFIG;
}

bool KVRDevice::checkRequest(const VOXMessage &msg) const
{
    const VOX::NodeType wanted = msg.destNodeType();
    return msg.isValid() && (wanted == VOX::NODETYPE_ANY || wanted == type()) && !isDeafTo(msg);
}

VOXReply KVRDevice::nack(const VOXMessage &request, int status) const
{
    return KVRNack(*this, request, static_cast<KVR::NackStatus>(status));
}

VOXReply KVRDevice::acknowledgement(const VOXMessage &request) const
{
    return request.isAck() ? VOXReply(KVRAck(*this, request)) : VOXReply();
}

VOXMessage KVRDevice::wanted(const VOXMessage &request, const VOXReply &answer)
{
    const bool isVerdict = answer.cmd() == KVR::ACK || answer.cmd() == KVR::NACK;
    if (isVerdict && !request.isAck())
        return VOXMessage();
    return answer;
}

void KVRDevice::tell(std::function<void()> news)
{
    m_news.append(std::move(news));
    if (m_tellLaterCount == 0)
        tellNews();
}

void KVRDevice::tellNews()
{
    // A slot may destroy the node. It may also wait in an event loop for the next signal, which then comes
    // from there.
    const QPointer<KVRDevice> self(this);
    while (self && !m_news.isEmpty())
        m_news.takeFirst()();
}

KVRDevice::TellLater::TellLater(KVRDevice &device)
    : m_device(&device)
{
    ++device.m_tellLaterCount;
}

KVRDevice::TellLater::~TellLater()
{
    if (m_device && --m_device->m_tellLaterCount == 0)
        m_device->tellNews();
}

void KVRDevice::dispatch(const VOXMessage &msg)
{
    if (isDeafTo(msg))
        return;
    serve([&] { return answerTo(msg); });
}

VOXMessage KVRDevice::standardAnswer(const VOXMessage &msg)
{
    const auto custom = m_customReplies.constFind(msg.cmd());
    if (custom != m_customReplies.constEnd())
        return *custom;
    if (const Handler handler = findHandler(msg.cmd()))
        return handler(*this, msg);
    // Whoever asks a node on no bus gets the refusal from here.
    if (bus())
        qWarning("[KVRDevice]: unknown cmd(%.2X)", msg.cmd());
    return nack(msg, KVR::NACK_BADMSG);
}

VOXReply KVRDevice::nodeAddrReply(const VOXMessage &request) const
{
    return m_discoveryTimerId != 0 ? VOXReply() : answer<KVR::POST_NODE_ADDR>(*this, request);
}

VOXReply KVRDevice::groupAddrReply(const VOXMessage &request, quint8 index) const
{
    unsigned int group = 0;
    if (!groupAddr(index, group))
        return nack(request, KVR::NACK_RNG);
    return answer<KVR::POST_GROUP_ADDR>(*this, request, index, group);
}

VOXReply KVRDevice::nodeLabelReply(const VOXMessage &request) const
{
    return answer<KVR::POST_NODE_LABEL>(*this, request, m_nodeLabel);
}

VOXReply KVRDevice::serialNumberReply(const VOXMessage &request)
{
    if (m_serialNumber.isEmpty())
        setSerialNumber(QByteArray());
    return answer<KVR::POST_NODE_SERIAL_NUMBER>(*this, request, m_serialNumber);
}

VOXReply KVRDevice::networkConfigReply(const VOXMessage &request) const
{
    return answerWith<KVR::POST_NETWORK_CONFIG>(*this, request, m_networkConfig);
}

VOXReply KVRDevice::networkStatReply(const VOXMessage &request) const
{
    return answerWith<KVR::POST_NETWORK_STAT>(*this, request, m_networkStat);
}

VOXReply KVRDevice::networkErrorStatReply(const VOXMessage &request) const
{
    return answerWith<KVR::POST_NETWORK_ERROR_STAT>(*this, request, m_networkErrorStat);
}

VOXReply KVRDevice::stackVersionReply(const VOXMessage &request) const
{
    return answerWith<KVR::POST_NODE_STACK_VERSION>(*this, request, m_stackVersion);
}

VOXReply KVRDevice::appVersionReply(const VOXMessage &request) const
{
    return answerWith<KVR::POST_NODE_APP_VERSION>(*this, request, m_appVersion);
}

VOXReply KVRDevice::dataTestReply(const VOXMessage &request) const
{
    // The reply is as long as the request, whatever its descriptor says.
    VOXReply reply(*this, request, KVR::findCmd(request.cmd()).reply(), request.len());
    VOXDataWriter(reply).write(request.data().constData() + VOXMessage::HeaderLength,
                               request.len() - static_cast<unsigned int>(VOXMessage::MinLength));
    reply.prepare();
    return reply;
}

VOXReply KVRDevice::handleNodeDiscovery(const VOXMessage &request, quint8 silent)
{
    if (m_discoveryTimerId != 0)
        killTimer(m_discoveryTimerId);
    m_discoveryTimerId = silent != 0 ? startTimer(DiscoverySilenceMs, Qt::CoarseTimer) : 0;
    return acknowledgement(request);
}

VOXReply KVRDevice::handleGroupAddr(const VOXMessage &request, quint8 index, VOX::Addr group)
{
    return setGroupAddr(index, group) ? acknowledgement(request) : nack(request, KVR::NACK_RNG);
}

VOXReply KVRDevice::handleNodeLabel(const VOXMessage &request, const QByteArray &label)
{
    // The label has all 16 bytes, also the zero bytes at the end.
    setNodeLabel(label);
    return acknowledgement(request);
}

VOXReply KVRDevice::setNetworkConfigReply(const VOXMessage &request)
{
    return findHandler(KVR::SET_NETWORK_CONFIG)(*this, request);
}

VOXReply KVRDevice::handleNetworkConfig(const VOXMessage &request, quint8 bcastMode, quint8 maxRand,
                                        quint8 supervision, quint16 period, quint8 deafMode, quint8 upload)
{
    const TellLater untilDone(*this);
    KVRStdProxy::NetworkConfig config = m_networkConfig;
    const auto isOn = [](unsigned char field) { return field != 0 && field != Unchanged; };
    if (bcastMode != Unchanged)
        config.data()->bcastMode = isOn(bcastMode) ? KVRStdProxy::BCAST_ON : KVRStdProxy::BCAST_OFF;
    if (isOn(bcastMode))
        config.data()->maxRand = maxRand;
    if (supervision != Unchanged)
        config.data()->supervisionActive = isOn(supervision);
    if (isOn(supervision))
        config.data()->supervisionPeriod = period;
    if (deafMode != Unchanged)
        config.data()->deafMode = isOn(deafMode);

    setNetworkConfig(config);
    if (isOn(upload))
        tell([this] { Q_EMIT uploadRequest(); });
    return acknowledgement(request);
}

VOXReply KVRDevice::setNetworkStatReply(const VOXMessage &request)
{
    return findHandler(KVR::SET_NETWORK_STAT)(*this, request);
}

VOXReply KVRDevice::handleNetworkStat(const VOXMessage &request, quint8 selector, quint8 retryCount)
{
    enum Selector : unsigned char { Statistics, Errors };
    if (selector > Errors)
        return nack(request, KVR::NACK_BADMSG);
    if (selector == Errors) {
        store(m_networkErrorStat, KVRStdProxy::NetworkErrorStat());
    } else {
        KVRStdProxy::NetworkStat stat;
        if (retryCount < FirstResetCount) {
            stat = m_networkStat;
            stat.setMaxRetryCount(retryCount);
        }
        store(m_networkStat, stat);
    }
    return acknowledgement(request);
}

void KVRDevice::timerEvent(QTimerEvent *event)
{
    if (m_discoveryTimerId == 0 || event->timerId() != m_discoveryTimerId) {
        VOXDevice::timerEvent(event);
        return;
    }
    killTimer(m_discoveryTimerId);
    m_discoveryTimerId = 0;
}
