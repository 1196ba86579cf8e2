#include "proxies/kvrstdproxy.h"

#include "messages/kvrschema_p.h"

#include <QStringList>

using namespace VOXSchema;

namespace {
constexpr quint32 MaxReference = 0xffffff;

// This runs when the library is loaded, not with the first value. Code that holds no value yet asks, too,
// whether a text converts to one.
void registerMetaTypes()
{
    qRegisterMetaType<KVRStdProxy::AppVersion>();
    QMetaType::registerConverter<QString, KVRStdProxy::AppVersion>(
        &KVRStdProxy::AppVersion::AppVersionFromString);
    qRegisterMetaType<KVRStdProxy::NetworkConfig>();
}
Q_CONSTRUCTOR_FUNCTION(registerMetaTypes)
}

KVRStdProxy::AppVersionData *KVRStdProxy::AppVersionData::null()
{
    static auto *block = makeNullBlock<AppVersionData>();
    return block;
}

KVRStdProxy::NetworkConfigData *KVRStdProxy::NetworkConfigData::null()
{
    static auto *block = makeNullBlock<NetworkConfigData>();
    return block;
}

KVRStdProxy::NetworkStatData *KVRStdProxy::NetworkStatData::null()
{
    static auto *block = makeNullBlock<NetworkStatData>();
    return block;
}

KVRStdProxy::NetworkErrorStatData *KVRStdProxy::NetworkErrorStatData::null()
{
    static auto *block = makeNullBlock<NetworkErrorStatData>();
    return block;
}

KVRStdProxy::AppVersion::AppVersion(quint32 reference, char idxLetter, quint8 idxNum, quint8 profile)
{
    d->reference = reference & MaxReference;
    d->idxLetter = static_cast<quint8>(idxLetter);
    d->idxNum = idxNum;
    d->profile = profile;
}

bool KVRStdProxy::AppVersion::operator<(const AppVersion &other) const
{
    const auto key = [](const AppVersion &version) {
        const AppVersionData &data = *version.constData();
        return std::tie(data.reference, data.idxLetter, data.idxNum, data.profile);
    };
    return key(*this) < key(other);
}

QString KVRStdProxy::AppVersion::toString() const
{
    if (!isValid())
        return QString();
    const QChar letter = QLatin1Char(static_cast<char>(idxLetter()));
    return QStringLiteral("%1-%2%3-%4")
        .arg(reference())
        .arg(letter.isLetter() || letter.isDigit() ? letter : QLatin1Char('0'))
        .arg(idxNum(), 2, 10, QLatin1Char('0'))
        .arg(profile());
}

bool KVRStdProxy::AppVersion::fromString(const QString &text)
{
    const AppVersion parsed = AppVersionFromString(text);
    if (!parsed.isValid())
        return false;
    *this = parsed;
    return true;
}

KVRStdProxy::AppVersion KVRStdProxy::AppVersion::AppVersionFromString(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char('-'), Qt::KeepEmptyParts, Qt::CaseSensitive);
    if (parts.size() != 3 || parts.at(1).size() < 2)
        return AppVersion();
    bool isReference = false;
    bool isNumber = false;
    bool isProfile = false;
    const auto reference = static_cast<quint32>(parts.at(0).toInt(&isReference));
    const int number = parts.at(1).mid(1).toInt(&isNumber);
    const int profile = parts.at(2).toInt(&isProfile);
    if (!isReference || !isNumber || !isProfile || reference > MaxReference)
        return AppVersion();
    return AppVersion(reference, parts.at(1).at(0).toLatin1(), static_cast<quint8>(number),
                      static_cast<quint8>(profile));
}

VOXDataReader &operator>>(VOXDataReader &reader, KVRStdProxy::AppVersion &version)
{
    auto *to = version.data();
    take<KVR::POST_NODE_APP_VERSION>(reader, to->reference, to->idxLetter, to->idxNum, to->profile);
    return reader;
}

VOXDataWriter &operator<<(VOXDataWriter &writer, const KVRStdProxy::AppVersion &version)
{
    const auto *from = version.constData();
    put<KVR::POST_NODE_APP_VERSION>(writer, from->reference, from->idxLetter, from->idxNum, from->profile);
    return writer;
}

VOXDataReader &operator>>(VOXDataReader &reader, KVRStdProxy::NetworkConfig &config)
{
    auto *to = config.data();
    // Any byte but 0 means on.
    quint8 broadcasts = to->bcastMode != KVRStdProxy::BCAST_OFF;
    take<KVR::POST_NETWORK_CONFIG>(reader, broadcasts, to->maxRand, to->supervisionActive,
                                   to->supervisionPeriod, to->deafMode);
    to->bcastMode = broadcasts != 0 ? KVRStdProxy::BCAST_ON : KVRStdProxy::BCAST_OFF;
    return reader;
}

VOXDataWriter &operator<<(VOXDataWriter &writer, const KVRStdProxy::NetworkConfig &config)
{
    const auto *from = config.constData();
    const auto bcastMode = from->bcastMode == KVRStdProxy::BCAST_OFF ? KVR::BCAST_OFF : KVR::BCAST_ON;
    put<KVR::POST_NETWORK_CONFIG>(writer, bcastMode, from->maxRand, from->supervisionActive,
                                  from->supervisionPeriod, from->deafMode);
    return writer;
}

VOXDataReader &operator>>(VOXDataReader &reader, KVRStdProxy::NetworkStat &stat)
{
    auto *to = stat.data();
    take<KVR::POST_NETWORK_STAT>(reader, to->maxRetryCount, to->frameSent, to->frameSeen, to->frameReceived,
                                 to->busyCount, to->maxSlot, to->supervisionFailure);
    return reader;
}

VOXDataWriter &operator<<(VOXDataWriter &writer, const KVRStdProxy::NetworkStat &stat)
{
    const auto *from = stat.constData();
    put<KVR::POST_NETWORK_STAT>(writer, from->maxRetryCount, from->frameSent, from->frameSeen,
                                from->frameReceived, from->busyCount, from->maxSlot,
                                from->supervisionFailure);
    return writer;
}

VOXDataReader &operator>>(VOXDataReader &reader, KVRStdProxy::NetworkErrorStat &stat)
{
    auto *to = stat.data();
    take<KVR::POST_NETWORK_ERROR_STAT>(reader, to->txFailures, to->collisions, to->rxDataError,
                                       to->unknownMessage, to->msgLengthError, to->rxFifoFull, to->txFifoFull,
                                       to->crcError, to->bundleSizeError);
    return reader;
}

VOXDataWriter &operator<<(VOXDataWriter &writer, const KVRStdProxy::NetworkErrorStat &stat)
{
    const auto *from = stat.constData();
    put<KVR::POST_NETWORK_ERROR_STAT>(writer, from->txFailures, from->collisions, from->rxDataError,
                                      from->unknownMessage, from->msgLengthError, from->rxFifoFull,
                                      from->txFifoFull, from->crcError, from->bundleSizeError);
    return writer;
}
