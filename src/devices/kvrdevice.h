#ifndef VOX_DEVICES_KVRDEVICE_H
#define VOX_DEVICES_KVRDEVICE_H

#include <vox/devices/voxdevice.h>
#include <vox/messages/kvr.h>
#include <vox/messages/voxreply.h>
#include <vox/proxies/kvrstdproxy.h>

#include <QHash>
#include <QPointer>
#include <QSet>
#include <QVector>

#include <functional>

/// An emulated node that answers the commands which every node knows.
///
/// Refuses with a NACK even if no acknowledgement was asked for; acknowledges only if asked to. The handlers,
/// whose names end in Reply, return an answer to the sender of their request; dispatch() emits the
/// signals of what has changed and then sends it. A slot of any of these signals may destroy the node, which
/// then does not answer. A handler that a host calls directly emits its signals at once, and no slot may
/// destroy the node meanwhile. Used on the thread that it lives on.
/// @ingroup devices
class VOX_EXPORT KVRDevice : public VOXDevice
{
    Q_OBJECT
    Q_PROPERTY(QByteArray nodeLabel READ nodeLabel WRITE setNodeLabel NOTIFY nodeLabelChanged)

public:
    using VOXDevice::attach;

    /// With 16 free group slots. A null @p bus leaves it unattached.
    KVRDevice(unsigned int addr, VOXBus *bus, QObject *parent = nullptr);
    ~KVRDevice() override;

    /// At most 16 bytes. A label that a host has set includes the zero bytes that fill it up.
    const QByteArray &nodeLabel() const { return m_nodeLabel; }

    /// Empty until it is set or asked for. A generated one is kept whole; replies carry its first 12 bytes.
    const QByteArray &serialNumber() const { return m_serialNumber; }
    /// Cut to 12 bytes; an empty one is replaced by one made of address, year and week.
    void setSerialNumber(const QByteArray &serial);

    ///@{
    /// Reported to hosts. A change emits appVersionChanged() or stackVersionChanged().
    const KVRStdProxy::AppVersion &appVersion() const { return m_appVersion; }
    void setAppVersion(const KVRStdProxy::AppVersion &version);
    const KVRStdProxy::AppVersion &stackVersion() const { return m_stackVersion; }
    void setStackVersion(const KVRStdProxy::AppVersion &version);
    ///@}
    ///@{
    /// In deaf mode the node ignores every command but SET_NETWORK_CONFIG; the rest is only reported. A
    /// change emits networkConfigChanged().
    const KVRStdProxy::NetworkConfig &networkConfig() const { return m_networkConfig; }
    void setNetworkConfig(const KVRStdProxy::NetworkConfig &config);
    ///@}
    ///@{
    /// The emulation counts nothing: these hold what was last set, here or by SET_NETWORK_STAT. A change
    /// emits no signal.
    const KVRStdProxy::NetworkStat &networkStat() const { return m_networkStat; }
    void setNetworkStat(const KVRStdProxy::NetworkStat &stat) { m_networkStat = stat; }
    const KVRStdProxy::NetworkErrorStat &networkErrorStat() const { return m_networkErrorStat; }
    void setNetworkErrorStat(const KVRStdProxy::NetworkErrorStat &stat) { m_networkErrorStat = stat; }
    ///@}

    /// Puts group @p addr, without a node type, into a slot, 0 to free it. Slots count from 0. A group is
    /// heard once, however many slots hold it. False if there is no such slot.
    virtual bool setGroupAddr(unsigned char index, unsigned int addr);
    /// Puts the group of a slot into @p addr, 0 if it is free. False, with @p addr left alone, if there is no
    /// such slot.
    virtual bool groupAddr(unsigned char index, unsigned int &addr) const;
    ///@{
    /// New slots are free. The groups of slots that go stay registered with the bus; they are heard until the
    /// node is detached.
    int groupCount() const { return m_groups.size(); }
    void setGroupCount(int count);
    ///@}

    /// Answers @p cmd with @p reply, byte for byte. An invalid @p reply means no answer at all. Deaf mode,
    /// and commands that a subclass answers itself, come first.
    void addCustomReply(KVR::Cmd cmd, const VOXMessage &reply);
    /// Has @p cmd answered as usual again.
    void removeCustomReply(KVR::Cmd cmd);
    /// Whether a custom reply is stored for @p cmd.
    bool hasCustomReply(KVR::Cmd cmd) const;

    ///@{
    /// The stored value, whatever else is in @p request. Label and serial number are filled with zero bytes;
    /// a serial number that is empty is made first.
    VOXReply nodeLabelReply(const VOXMessage &request) const;
    VOXReply serialNumberReply(const VOXMessage &request);
    VOXReply networkConfigReply(const VOXMessage &request) const;
    VOXReply networkStatReply(const VOXMessage &request) const;
    VOXReply networkErrorStatReply(const VOXMessage &request) const;
    VOXReply stackVersionReply(const VOXMessage &request) const;
    VOXReply appVersionReply(const VOXMessage &request) const;
    ///@}
    ///@{
    /// Does what @p request asks for. If that is done and no acknowledgement was asked for, the answer is
    /// invalid, which is none. Refuses with NACK_MSGSIZE, and an unknown set of counters with NACK_BADMSG.
    VOXReply setNetworkConfigReply(const VOXMessage &request);
    VOXReply setNetworkStatReply(const VOXMessage &request);
    ///@}
    /// Echoes the payload of @p request, in a frame of the same length.
    VOXReply dataTestReply(const VOXMessage &request) const;

public Q_SLOTS:
    /// Cut to 16 bytes. The label is compared before it is cut, so a longer one counts as a change each
    /// time that it is set.
    void setNodeLabel(const QByteArray &label);
    void dispatch(const VOXMessage &msg) override;
    ///@{
    /// As in VOXDevice, and with the groups of all slots.
    bool attach(VOXBus *bus) override;
    void detach() override;
    ///@}

Q_SIGNALS:
    ///@{
    /// Emitted once the new value is stored; carries that value.
    void nodeLabelChanged(const QByteArray &label);
    void stackVersionChanged(const KVRStdProxy::AppVersion &stackVersion);
    void appVersionChanged(const KVRStdProxy::AppVersion &appVersion);
    void networkConfigChanged(const KVRStdProxy::NetworkConfig &networkConfig);
    ///@}
    /// The host wants the node's data uploaded.
    void uploadRequest();

protected:
    /// Ends the five minutes for which SET_NODE_DISCOVERY silences the node to GET_NODE_ADDR.
    void timerEvent(QTimerEvent *event) override;

    /// Whether @p msg is valid, meant for a node of this type, and heard in deaf mode.
    bool checkRequest(const VOXMessage &msg) const;
    /// Whether deaf mode keeps @p msg from being heard.
    bool isDeafTo(const VOXMessage &msg) const;
    /// An ACK, or no answer if none was asked for.
    VOXReply acknowledgement(const VOXMessage &request) const;
    /// A NACK, even if @p request asks for no acknowledgement. @p status may be a KVR::MotorNackStatus.
    VOXReply nack(const VOXMessage &request, int status) const;
    /// Does what @p request asks for, and gives the answer of dispatch(); invalid for
    /// no answer. The caller has asked isDeafTo().
    virtual VOXMessage answerTo(const VOXMessage &request) { return standardAnswer(request); }
    /// The same for the commands that every node knows; refuses all others.
    VOXMessage standardAnswer(const VOXMessage &msg);
    /// @p answer if a motor sends it, else an invalid one. Motors send ACK and NACK only if @p request asks
    /// for an acknowledgement, and data always.
    static VOXMessage wanted(const VOXMessage &request, const VOXReply &answer);

    /// Calls @p news, which only emits a signal, at once or when the last TellLater is gone. Keeps the order.
    void tell(std::function<void()> news);
    /// Holds back the node's signals as long as it lives, so that no slot runs in the middle of a change. The
    /// node may be destroyed meanwhile.
    class VOX_EXPORT TellLater
    {
    public:
        /// For @p device.
        explicit TellLater(KVRDevice &device);
        ~TellLater();
        Q_DISABLE_COPY_MOVE(TellLater)

    private:
        const QPointer<KVRDevice> m_device;
    };

    /// Calls @p make, which does what a frame asks for and gives the answer. Then emits the signals of what
    /// has changed, and sends the answer last. A slot may destroy the node, which then does not answer.
    template <typename Make>
    void serve(const Make &make)
    {
        const QPointer<KVRDevice> self(this);
        VOXMessage answer;
        {
            const TellLater untilDone(*this);
            answer = make();
        }
        if (self)
            reply(answer);
    }

private:
    using Handler = VOXReply (*)(KVRDevice &node, const VOXMessage &request);
    static Handler findHandler(unsigned char cmd);

    VOXReply nodeAddrReply(const VOXMessage &request) const;
    VOXReply groupAddrReply(const VOXMessage &request, quint8 index) const;
    VOXReply handleNodeDiscovery(const VOXMessage &request, quint8 silent);
    VOXReply handleGroupAddr(const VOXMessage &request, quint8 index, VOX::Addr group);
    VOXReply handleNodeLabel(const VOXMessage &request, const QByteArray &label);
    VOXReply handleNetworkConfig(const VOXMessage &request, quint8 bcastMode, quint8 maxRand,
                                 quint8 supervision, quint16 period, quint8 deafMode, quint8 upload);
    VOXReply handleNetworkStat(const VOXMessage &request, quint8 selector, quint8 retryCount);
    void registerGroup(VOXBus &bus, unsigned int group);
    void tellNews();

    QByteArray m_nodeLabel;
    QByteArray m_serialNumber;
    KVRStdProxy::AppVersion m_stackVersion;
    KVRStdProxy::AppVersion m_appVersion;
    KVRStdProxy::NetworkConfig m_networkConfig;
    KVRStdProxy::NetworkStat m_networkStat;
    KVRStdProxy::NetworkErrorStat m_networkErrorStat;
    QHash<int, VOXMessage> m_customReplies;
    QVector<unsigned int> m_groups;
    /// The groups that are registered with the bus, also those of slots that are gone.
    QSet<unsigned int> m_registeredGroups;
    int m_discoveryTimerId = 0;
    QVector<std::function<void()>> m_news;
    int m_tellLaterCount = 0;
};

#endif
