#ifndef KVRSTDPROXY_H
#define KVRSTDPROXY_H

#include "messages/voxdatareader.h"
#include "messages/voxdatawriter.h"
#include "messages/voxsharedvalue.h"
#include "proxies/voxnode.h"

#include <tuple>

/// A host's handle on one node, for the commands that every node knows.
///
/// Each operation sends one frame and returns at once. Arguments are cut to their width on the wire, not
/// checked. What the node answers is decoded by the operation of the same name ending in Reply; set
/// operations are answered by ACK or NACK, which KVR::getNackReply() tells apart. Keeps nothing but its
/// address. On the bus's thread only.
class VOX_EXPORT KVRStdProxy : public VOXNode
{
    Q_OBJECT

public:
    enum BcastMode : int { BCAST_OFF = 0, BCAST_ON = 1 };
    Q_ENUM(BcastMode)

    struct VOX_EXPORT AppVersionData : public QSharedData
    {
        static AppVersionData *null();
        auto fields() const { return std::tie(idxLetter, idxNum, profile, reference); }

        quint32 reference = 0;
        quint8 idxLetter = 0;
        quint8 idxNum = 0;
        quint8 profile = 0;
    };

    /// The version of a node's application or protocol stack; as text 5012345-A03-1.
    class VOX_EXPORT AppVersion : public VOXSharedValue<AppVersionData>
    {
    public:
        AppVersion() = default;
        AppVersion(quint32 reference, char idxLetter, quint8 idxNum, quint8 profile);

        /// 24 bits.
        quint32 reference() const { return d->reference; }
        /// A Latin-1 code.
        quint8 idxLetter() const { return d->idxLetter; }
        quint8 idxNum() const { return d->idxNum; }
        quint8 profile() const { return d->profile; }

        /// By reference, then letter, number and profile.
        bool operator<(const AppVersion &other) const;

        /// Empty if the version is invalid. A letter that is none prints as 0, so not every text comes back
        /// as it was.
        QString toString() const;
        /// False, with nothing changed, if @p text is no version.
        bool fromString(const QString &text);
        /// Invalid if @p text is no version.
        static AppVersion AppVersionFromString(const QString &text);
    };

    struct VOX_EXPORT NetworkConfigData : public QSharedData
    {
        static NetworkConfigData *null();
        auto fields() const
        {
            return std::tie(bcastMode, maxRand, supervisionActive, supervisionPeriod, deafMode);
        }

        BcastMode bcastMode = BCAST_ON;
        quint8 maxRand = 0;
        bool supervisionActive = false;
        quint16 supervisionPeriod = 0;
        bool deafMode = false;
    };

    class VOX_EXPORT NetworkConfig : public VOXSharedValue<NetworkConfigData>
    {
    public:
        using Data = NetworkConfigData;

        BcastMode bcastMode() const { return d->bcastMode; }
        quint8 maxRand() const { return d->maxRand; }
        bool supervisionActive() const { return d->supervisionActive; }
        /// The low byte only; the whole period is in constData().
        quint8 supervisionPeriod() const { return static_cast<quint8>(d->supervisionPeriod); }
        bool deafMode() const { return d->deafMode; }
    };

    struct VOX_EXPORT NetworkStatData : public QSharedData
    {
        static NetworkStatData *null();
        auto fields() const
        {
            return std::tie(maxRetryCount, frameSent, frameSeen, frameReceived, busyCount, maxSlot,
                            supervisionFailure);
        }

        quint8 maxRetryCount = 3;
        quint32 frameSent = 0;
        quint32 frameSeen = 0;
        quint32 frameReceived = 0;
        quint16 busyCount = 0;
        quint8 maxSlot = 0;
        quint8 supervisionFailure = 0;
    };

    /// What a node has counted on its network. Of the frame counters 24 bits travel.
    class VOX_EXPORT NetworkStat : public VOXSharedValue<NetworkStatData>
    {
    public:
        using Data = NetworkStatData;

        quint8 maxRetryCount() const { return d->maxRetryCount; }
        quint32 frameSent() const { return d->frameSent; }
        quint32 frameSeen() const { return d->frameSeen; }
        quint32 frameReceived() const { return d->frameReceived; }
        quint16 busyCount() const { return d->busyCount; }
        quint8 maxSlot() const { return d->maxSlot; }
        quint8 supervisionFailure() const { return d->supervisionFailure; }

        void setMaxRetryCount(quint8 count) { d->maxRetryCount = count; }
        void setFrameSent(quint32 count) { d->frameSent = count; }
        void setFrameSeen(quint32 count) { d->frameSeen = count; }
        void setFrameReceived(quint32 count) { d->frameReceived = count; }
        void setBusyCount(quint16 count) { d->busyCount = count; }
        void setMaxSlot(quint8 slot) { d->maxSlot = slot; }
        void setSupervisionFailure(quint8 count) { d->supervisionFailure = count; }
    };

    struct VOX_EXPORT NetworkErrorStatData : public QSharedData
    {
        static NetworkErrorStatData *null();
        auto fields() const
        {
            return std::tie(txFailures, collisions, rxDataError, unknownMessage, msgLengthError, rxFifoFull,
                            txFifoFull, crcError, bundleSizeError);
        }

        quint16 txFailures = 0;
        quint16 collisions = 0;
        quint16 rxDataError = 0;
        quint16 unknownMessage = 0;
        quint16 msgLengthError = 0;
        quint16 rxFifoFull = 0;
        quint16 txFifoFull = 0;
        quint16 crcError = 0;
        quint16 bundleSizeError = 0;
    };

    class VOX_EXPORT NetworkErrorStat : public VOXSharedValue<NetworkErrorStatData>
    {
    public:
        using Data = NetworkErrorStatData;

        quint16 txFailures() const { return d->txFailures; }
        quint16 collisions() const { return d->collisions; }
        quint16 rxDataError() const { return d->rxDataError; }
        quint16 unknownMessage() const { return d->unknownMessage; }
        quint16 msgLengthError() const { return d->msgLengthError; }
        quint16 rxFifoFull() const { return d->rxFifoFull; }
        quint16 txFifoFull() const { return d->txFifoFull; }
        quint16 crcError() const { return d->crcError; }
        quint16 bundleSizeError() const { return d->bundleSizeError; }

        void setTxFailures(quint16 count) { d->txFailures = count; }
        void setCollisions(quint16 count) { d->collisions = count; }
        void setRxDataError(quint16 count) { d->rxDataError = count; }
        void setUnknownMessage(quint16 count) { d->unknownMessage = count; }
        void setMsgLengthError(quint16 count) { d->msgLengthError = count; }
        void setRxFifoFull(quint16 count) { d->rxFifoFull = count; }
        void setTxFifoFull(quint16 count) { d->txFifoFull = count; }
        void setCrcError(quint16 count) { d->crcError = count; }
        void setBundleSizeError(quint16 count) { d->bundleSizeError = count; }
    };

    KVRStdProxy(unsigned int addr, Bus *bus, QObject *parent = nullptr);

    /// A decoder is true if @p msg was long enough for it. Most do not look at the command, so they take the
    /// reply of their own call only; those that say so do. A value class becomes valid even if its decoder
    /// then fails.
    bool getGroupAddrReply(const BusMessage &msg, quint8 &idx, unsigned int &addr) const;
    bool getNetworkStatReply(const BusMessage &msg, KVRStdProxy::NetworkStat &stat) const;
    bool getNetworkErrorStatReply(const BusMessage &msg, KVRStdProxy::NetworkErrorStat &stat) const;
    bool getNetworkConfigReply(const BusMessage &msg, KVRStdProxy::NetworkConfig &config) const;
    bool getNodeStackVersionReply(const BusMessage &msg, KVRStdProxy::AppVersion &version) const;
    /// Checks command and length.
    bool getNodeAppVersionReply(const BusMessage &msg, KVRStdProxy::AppVersion &version) const;
    /// Checks command and length. Gives all 16 bytes, zero bytes included.
    bool getNodeLabelReply(const BusMessage &msg, QByteArray &label) const;
    /// Checks the length alone. Gives 12 bytes.
    bool getNodeSerialNumberReply(const BusMessage &msg, QByteArray &serial) const;
    /// These three check command and length, and that all the bytes of @p data, 10 and 20, have come back.
    bool checkDataTest1Reply(const BusMessage &msg) const;
    bool checkDataTest2Reply(const BusMessage &msg, const QByteArray &data) const;
    bool checkDataTest3Reply(const BusMessage &msg, const QByteArray &data) const;

public Q_SLOTS:
    /// Has no decoder: the reply's source is the address.
    BusPendingCall getNodeAddr();
    BusPendingCall getGroupAddr(quint8 idx);
    /// Group 0 frees the slot.
    BusPendingCall setGroupAddr(quint8 idx, VOX::Addr addr);
    BusPendingCall getNetworkStat();
    BusPendingCall getNetworkErrorStat();
    /// Mode 0: the statistics, to their defaults if @p retryCount is 254 or more, else only the retry count
    /// is set. Mode 1: clears the error counters.
    BusPendingCall setNetworkStat(quint8 mode, quint8 retryCount = 255);
    /// False silences the node to getNodeAddr() for five minutes.
    BusPendingCall setNodeDiscovery(bool enable);
    BusPendingCall getNetworkConfig();
    /// 255 leaves a setting as it is, 0 turns it off, and anything else turns it on with the parameter behind
    /// it. With an @p upload of 1 to 254 no acknowledgement is asked for, and the call ends when it is
    /// written.
    BusPendingCall setNetworkConfig(quint8 bcastMode = 255, quint8 maxRand = 0, quint8 supervision = 255,
                                    quint16 supervisionPeriod = 0, quint8 deafMode = 255,
                                    quint8 upload = 255);
    BusPendingCall getNodeStackVersion();
    BusPendingCall getNodeSerialNumber();
    BusPendingCall getNodeAppVersion();
    BusPendingCall getNodeLabel();
    /// Cut to 16 bytes, or filled with zero bytes.
    BusPendingCall setNodeLabel(const QByteArray &str);
    BusPendingCall sendDataTest1();
    /// Cut to 10 bytes, or filled with zero bytes.
    BusPendingCall sendDataTest2(const QByteArray &data);
    /// Cut to 20 bytes, or filled with zero bytes.
    BusPendingCall sendDataTest3(const QByteArray &data);
};

/// The layouts of the values in a data area. A value that is read becomes valid.
VOX_EXPORT VOXDataReader &operator>>(VOXDataReader &reader, KVRStdProxy::AppVersion &version);
VOX_EXPORT VOXDataReader &operator>>(VOXDataReader &reader, KVRStdProxy::NetworkConfig &config);
VOX_EXPORT VOXDataReader &operator>>(VOXDataReader &reader, KVRStdProxy::NetworkStat &stat);
VOX_EXPORT VOXDataReader &operator>>(VOXDataReader &reader, KVRStdProxy::NetworkErrorStat &stat);
VOX_EXPORT VOXDataWriter &operator<<(VOXDataWriter &writer, const KVRStdProxy::AppVersion &version);
VOX_EXPORT VOXDataWriter &operator<<(VOXDataWriter &writer, const KVRStdProxy::NetworkConfig &config);
VOX_EXPORT VOXDataWriter &operator<<(VOXDataWriter &writer, const KVRStdProxy::NetworkStat &stat);
VOX_EXPORT VOXDataWriter &operator<<(VOXDataWriter &writer, const KVRStdProxy::NetworkErrorStat &stat);

Q_DECLARE_METATYPE(KVRStdProxy::AppVersion)
Q_DECLARE_METATYPE(KVRStdProxy::NetworkConfig)

#endif
