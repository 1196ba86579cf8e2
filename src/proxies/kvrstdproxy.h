#ifndef VOX_PROXIES_KVRSTDPROXY_H
#define VOX_PROXIES_KVRSTDPROXY_H

#include <vox/messages/kvr.h>
#include <vox/messages/voxdatareader.h>
#include <vox/messages/voxdatawriter.h>
#include <vox/messages/voxsharedvalue.h>
#include <vox/proxies/voxnode.h>

#include <tuple>

/// A host's handle on one node, for the commands that every node knows.
///
/// Each operation sends one frame and returns at once. Arguments are cut to their width on the wire, not
/// checked. The decoder of an answer has the name of the operation with Reply at the end. Set operations are
/// answered by ACK or NACK, which KVR::getNackReply() tells apart. A proxy stores nothing but its address.
/// Thread and lifetime are those of VOXNode.
///
/// The comments name the NACK of KVR::NackStatus with which emulated nodes refuse. A command that a node does
/// not know is refused with NACK_BADMSG. A decoder is true if its message was long enough. Most decoders do
/// not look at the command, so give them only the reply of their own call. Those that say so check command
/// and length, and change nothing if they fail. The others change their outputs as far as the bytes went, and
/// make a value class valid, even if they then fail.
/// @ingroup proxies
class VOX_EXPORT KVRStdProxy : public VOXNode
{
    Q_OBJECT

public:
    /// The broadcast mode of a node; on as delivered. KVR::BcastMode is the same on the wire.
    enum BcastMode : int { BCAST_OFF = KVR::BCAST_OFF, BCAST_ON = KVR::BCAST_ON };
    Q_ENUM(BcastMode)

    /// The fields of AppVersion, as AppVersion::constData() gives them.
    /// @ingroup proxies
    struct VOX_EXPORT AppVersionData : public QSharedData
    {
        ///@{
        /// Required by VOXSharedValue.
        static AppVersionData *null();
        auto fields() const { return std::tie(idxLetter, idxNum, profile, reference); }
        ///@}

        ///@{
        /// See the getters of AppVersion.
        quint32 reference = 0;
        quint8 idxLetter = 0;
        quint8 idxNum = 0;
        quint8 profile = 0;
        ///@}
    };

    /// The version of a node's application or protocol stack; as text 5012345-A03-1, which is reference,
    /// letter, number and profile.
    ///
    /// Invalid, with all fields 0, until it is set or decoded; see VOXSharedValue. A QVariant with a text
    /// converts to it.
    /// @ingroup proxies
    class VOX_EXPORT AppVersion : public VOXSharedValue<AppVersionData>
    {
    public:
        /// Invalid.
        AppVersion() = default;
        /// Always valid. @p reference is cut to 24 bits.
        AppVersion(quint32 reference, char idxLetter, quint8 idxNum, quint8 profile);

        /// 24 bits.
        quint32 reference() const { return d->reference; }
        /// A Latin-1 code, not checked to be a letter.
        quint8 idxLetter() const { return d->idxLetter; }
        ///@{
        /// A number of the version, 0 to 255.
        quint8 idxNum() const { return d->idxNum; }
        quint8 profile() const { return d->profile; }
        ///@}

        /// Compares the reference, then letter, number and profile.
        bool operator<(const AppVersion &other) const;

        /// Empty if the version is invalid. A letter field that is neither letter nor digit prints as 0, so
        /// that fromString() does not give every version back.
        QString toString() const;
        /// False, with nothing changed, if @p text is no version.
        bool fromString(const QString &text);
        /// Invalid if @p text is no version. Number and profile are cut to eight bits. A text whose reference
        /// has more than 24 bits is no version.
        static AppVersion AppVersionFromString(const QString &text);
    };

    /// The fields of NetworkConfig, as NetworkConfig::constData() gives them.
    /// @ingroup proxies
    struct VOX_EXPORT NetworkConfigData : public QSharedData
    {
        ///@{
        /// Required by VOXSharedValue.
        static NetworkConfigData *null();
        auto fields() const
        {
            return std::tie(bcastMode, maxRand, supervisionActive, supervisionPeriod, deafMode);
        }
        ///@}

        ///@{
        /// See the getters of NetworkConfig; supervisionPeriod is whole here.
        BcastMode bcastMode = BCAST_ON;
        quint8 maxRand = 0;
        bool supervisionActive = false;
        quint16 supervisionPeriod = 0;
        bool deafMode = false;
        ///@}
    };

    /// How a node behaves on its network.
    ///
    /// Invalid until a decoder or data(), which is for writing, changes it. Until then it is as in a new
    /// node: broadcasts are on, all else is off or 0.
    /// @ingroup proxies
    class VOX_EXPORT NetworkConfig : public VOXSharedValue<NetworkConfigData>
    {
    public:
        /// The type that data() and constData() give.
        using Data = NetworkConfigData;

        /// On the wire any byte but 0 is BCAST_ON.
        BcastMode bcastMode() const { return d->bcastMode; }
        /// The longest random delay, in the node's own unit. Goes with the broadcast mode.
        quint8 maxRand() const { return d->maxRand; }
        /// Whether supervision is on.
        bool supervisionActive() const { return d->supervisionActive; }
        /// The low byte only, on purpose; the whole period is in constData(). In the node's own unit.
        quint8 supervisionPeriod() const { return static_cast<quint8>(d->supervisionPeriod); }
        /// A deaf node hears nothing but setNetworkConfig().
        bool deafMode() const { return d->deafMode; }
    };

    /// The fields of NetworkStat, as NetworkStat::constData() gives them.
    /// @ingroup proxies
    struct VOX_EXPORT NetworkStatData : public QSharedData
    {
        ///@{
        /// Required by VOXSharedValue.
        static NetworkStatData *null();
        auto fields() const
        {
            return std::tie(maxRetryCount, frameSent, frameSeen, frameReceived, busyCount, maxSlot,
                            supervisionFailure);
        }
        ///@}

        ///@{
        /// See the getters of NetworkStat.
        quint8 maxRetryCount = 3;
        quint32 frameSent = 0;
        quint32 frameSeen = 0;
        quint32 frameReceived = 0;
        quint16 busyCount = 0;
        quint8 maxSlot = 0;
        quint8 supervisionFailure = 0;
        ///@}
    };

    /// The frames and events that a node has counted on its network.
    ///
    /// Invalid until a setter or a decoder changes it, with 3 retries and all else 0.
    /// @ingroup proxies
    class VOX_EXPORT NetworkStat : public VOXSharedValue<NetworkStatData>
    {
    public:
        /// The type that data() and constData() give.
        using Data = NetworkStatData;

        /// How often the node repeats a frame at most: a setting among the counters.
        quint8 maxRetryCount() const { return d->maxRetryCount; }
        ///@{
        /// The numbers of frames that the node has sent, that it has seen on the bus, and that were for it.
        /// 24 bits travel, on purpose.
        quint32 frameSent() const { return d->frameSent; }
        quint32 frameSeen() const { return d->frameSeen; }
        quint32 frameReceived() const { return d->frameReceived; }
        ///@}
        /// How often the node found the bus busy.
        quint16 busyCount() const { return d->busyCount; }
        /// The highest slot that was used.
        quint8 maxSlot() const { return d->maxSlot; }
        /// How often supervision has failed.
        quint8 supervisionFailure() const { return d->supervisionFailure; }

        ///@{
        /// Sets what the getter of the same name gives, and makes the object valid.
        void setMaxRetryCount(quint8 count) { d->maxRetryCount = count; }
        void setFrameSent(quint32 count) { d->frameSent = count; }
        void setFrameSeen(quint32 count) { d->frameSeen = count; }
        void setFrameReceived(quint32 count) { d->frameReceived = count; }
        void setBusyCount(quint16 count) { d->busyCount = count; }
        void setMaxSlot(quint8 slot) { d->maxSlot = slot; }
        void setSupervisionFailure(quint8 count) { d->supervisionFailure = count; }
        ///@}
    };

    /// The fields of NetworkErrorStat, as NetworkErrorStat::constData() gives them.
    /// @ingroup proxies
    struct VOX_EXPORT NetworkErrorStatData : public QSharedData
    {
        ///@{
        /// Required by VOXSharedValue.
        static NetworkErrorStatData *null();
        auto fields() const
        {
            return std::tie(txFailures, collisions, rxDataError, unknownMessage, msgLengthError, rxFifoFull,
                            txFifoFull, crcError, bundleSizeError);
        }
        ///@}

        ///@{
        /// See the getters of NetworkErrorStat.
        quint16 txFailures = 0;
        quint16 collisions = 0;
        quint16 rxDataError = 0;
        quint16 unknownMessage = 0;
        quint16 msgLengthError = 0;
        quint16 rxFifoFull = 0;
        quint16 txFifoFull = 0;
        quint16 crcError = 0;
        quint16 bundleSizeError = 0;
        ///@}
    };

    /// The faults that a node has counted on its network.
    ///
    /// Invalid, with all counters 0, until a setter or a decoder changes it.
    /// @ingroup proxies
    class VOX_EXPORT NetworkErrorStat : public VOXSharedValue<NetworkErrorStatData>
    {
    public:
        /// The type that data() and constData() give.
        using Data = NetworkErrorStatData;

        ///@{
        /// How often the node has met this fault since setNetworkStat() cleared the counters: a frame not
        /// sent, a collision, bad data, a command that it does not know, a frame of the wrong length, a full
        /// input or output buffer, a wrong CRC, a bundle of the wrong size.
        quint16 txFailures() const { return d->txFailures; }
        quint16 collisions() const { return d->collisions; }
        quint16 rxDataError() const { return d->rxDataError; }
        quint16 unknownMessage() const { return d->unknownMessage; }
        quint16 msgLengthError() const { return d->msgLengthError; }
        quint16 rxFifoFull() const { return d->rxFifoFull; }
        quint16 txFifoFull() const { return d->txFifoFull; }
        quint16 crcError() const { return d->crcError; }
        quint16 bundleSizeError() const { return d->bundleSizeError; }
        ///@}

        ///@{
        /// Sets what the getter of the same name gives, and makes the object valid.
        void setTxFailures(quint16 count) { d->txFailures = count; }
        void setCollisions(quint16 count) { d->collisions = count; }
        void setRxDataError(quint16 count) { d->rxDataError = count; }
        void setUnknownMessage(quint16 count) { d->unknownMessage = count; }
        void setMsgLengthError(quint16 count) { d->msgLengthError = count; }
        void setRxFifoFull(quint16 count) { d->rxFifoFull = count; }
        void setTxFifoFull(quint16 count) { d->txFifoFull = count; }
        void setCrcError(quint16 count) { d->crcError = count; }
        void setBundleSizeError(quint16 count) { d->bundleSizeError = count; }
        ///@}
    };

    /// A node type in @p addr goes into every request, which a motor of another type then ignores. Without an
    /// open @p bus, calls end with BusPendingCall::NotOpen.
    KVRStdProxy(unsigned int addr, Bus *bus, QObject *parent = nullptr);

    /// @p addr becomes 0 for a free slot.
    bool getGroupAddrReply(const BusMessage &msg, quint8 &idx, unsigned int &addr) const;
    /// Reads 14 of the reply's 17 bytes, as the format has it.
    bool getNetworkStatReply(const BusMessage &msg, KVRStdProxy::NetworkStat &stat) const;
    ///@{
    /// Fills the value, which becomes valid even if the message was too short.
    bool getNetworkErrorStatReply(const BusMessage &msg, KVRStdProxy::NetworkErrorStat &stat) const;
    bool getNetworkConfigReply(const BusMessage &msg, KVRStdProxy::NetworkConfig &config) const;
    bool getNodeStackVersionReply(const BusMessage &msg, KVRStdProxy::AppVersion &version) const;
    ///@}
    /// Checks command and length.
    bool getNodeAppVersionReply(const BusMessage &msg, KVRStdProxy::AppVersion &version) const;
    /// Checks command and length. Gives all 16 bytes, zero bytes included.
    bool getNodeLabelReply(const BusMessage &msg, QByteArray &label) const;
    /// Checks the length alone. Gives all 12 bytes, zero bytes included.
    bool getNodeSerialNumberReply(const BusMessage &msg, QByteArray &serial) const;
    /// Checks the command alone.
    bool checkDataTest1Reply(const BusMessage &msg) const;
    ///@{
    /// Checks command and length, and that all the bytes of @p data have come back: 10 in test 2, 20 in
    /// test 3. With fewer or more it is false, even if their padded or cut form has come back.
    bool checkDataTest2Reply(const BusMessage &msg, const QByteArray &data) const;
    bool checkDataTest3Reply(const BusMessage &msg, const QByteArray &data) const;
    ///@}

public Q_SLOTS:
    /// Asks this node for its address. There is no decoder: the source of the reply is the address. To
    /// discover nodes, broadcast the command with a VOXCall.
    BusPendingCall getNodeAddr();
    /// Asks for the group in slot @p idx, which counts from 0. A slot that does not exist is NACK_RNG;
    /// emulated nodes have 16 as delivered.
    BusPendingCall getGroupAddr(quint8 idx);
    /// Puts the node into group @p addr, 24 bits, by means of slot @p idx, as in getGroupAddr(). Group 0
    /// frees the slot.
    BusPendingCall setGroupAddr(quint8 idx, VOX::Addr addr);
    ///@{
    /// Asks for what the node has counted on its network since setNetworkStat() cleared it.
    BusPendingCall getNetworkStat();
    BusPendingCall getNetworkErrorStat();
    ///@}
    /// Mode 0 resets the statistics to their defaults if @p retryCount is 254 or more; else it only sets the
    /// retry count. Mode 1 clears the error counters. Other modes are NACK_BADMSG.
    BusPendingCall setNetworkStat(quint8 mode, quint8 retryCount = 255);
    /// With false the node does not answer getNodeAddr() and discovery for five minutes; true ends that. On
    /// the wire the flag is the other way round; that is the format.
    BusPendingCall setNodeDiscovery(bool enable);
    /// Asks for broadcast mode, supervision and deaf mode.
    BusPendingCall getNetworkConfig();
    /// 255 leaves a setting as it is, 0 turns it off, and any other value turns it on with the parameter
    /// behind it: @p maxRand for @p bcastMode, @p supervisionPeriod for @p supervision. An @p upload of 1 to
    /// 254 asks the node to upload its data. Such a call asks for no acknowledgement, and ends when it is
    /// written.
    BusPendingCall setNetworkConfig(quint8 bcastMode = 255, quint8 maxRand = 0, quint8 supervision = 255,
                                    quint16 supervisionPeriod = 0, quint8 deafMode = 255,
                                    quint8 upload = 255);
    ///@{
    /// Asks for an AppVersion, for 12 bytes of serial number or for 16 bytes of label, filled with zero
    /// bytes.
    BusPendingCall getNodeStackVersion();
    BusPendingCall getNodeSerialNumber();
    BusPendingCall getNodeAppVersion();
    BusPendingCall getNodeLabel();
    ///@}
    /// Sets the label, cut to 16 bytes or filled with zero bytes.
    BusPendingCall setNodeLabel(const QByteArray &str);
    /// The node echoes a frame without data, which checkDataTest1Reply() recognises.
    BusPendingCall sendDataTest1();
    /// The node echoes @p data, cut to 10 bytes or filled with zero bytes, for checkDataTest2Reply() to
    /// compare.
    BusPendingCall sendDataTest2(const QByteArray &data);
    /// The node echoes @p data, cut to 20 bytes or filled with zero bytes, for checkDataTest3Reply() to
    /// compare.
    BusPendingCall sendDataTest3(const QByteArray &data);
};

/// The layout of the value in a data area: 6 bytes of a version or configuration, 14 of statistics, 18 of
/// error counters. A value that is read becomes valid, even if the data area is too short. Fields that do not
/// fit are not written.
/// @relates KVRStdProxy
///@{
VOX_EXPORT VOXDataReader &operator>>(VOXDataReader &reader, KVRStdProxy::AppVersion &version);
VOX_EXPORT VOXDataReader &operator>>(VOXDataReader &reader, KVRStdProxy::NetworkConfig &config);
VOX_EXPORT VOXDataReader &operator>>(VOXDataReader &reader, KVRStdProxy::NetworkStat &stat);
VOX_EXPORT VOXDataReader &operator>>(VOXDataReader &reader, KVRStdProxy::NetworkErrorStat &stat);
VOX_EXPORT VOXDataWriter &operator<<(VOXDataWriter &writer, const KVRStdProxy::AppVersion &version);
VOX_EXPORT VOXDataWriter &operator<<(VOXDataWriter &writer, const KVRStdProxy::NetworkConfig &config);
VOX_EXPORT VOXDataWriter &operator<<(VOXDataWriter &writer, const KVRStdProxy::NetworkStat &stat);
VOX_EXPORT VOXDataWriter &operator<<(VOXDataWriter &writer, const KVRStdProxy::NetworkErrorStat &stat);
///@}

Q_DECLARE_METATYPE(KVRStdProxy::AppVersion)
Q_DECLARE_METATYPE(KVRStdProxy::NetworkConfig)

#endif
