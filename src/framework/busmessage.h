#ifndef VOX_FRAMEWORK_BUSMESSAGE_H
#define VOX_FRAMEWORK_BUSMESSAGE_H

#include <vox/framework/busmessagedata.h>

#include <QMetaType>

class Bus;
class BusPendingCallData;

/// A message: bytes that travel over a bus, shared between copies until one of them is changed.
///
/// A copy taken as a BusMessage keeps the subclass's data, so it is still recognised as the call or reply
/// that it was. Reentrant: copies may be used on different threads.
/// @ingroup framework
class VOX_BUS_EXPORT BusMessage
{
public:
    /// An empty message.
    BusMessage();
    /// A plain message with these bytes.
    explicit BusMessage(const QByteArray &bytes);
    ///@{
    /// Shares everything, and copies no bytes.
    BusMessage(const BusMessage &other);
    BusMessage &operator=(const BusMessage &other);
    ///@}
    virtual ~BusMessage();

    /// The bytes for writing. Detaches, and the message has to be prepared again.
    QByteArray &data();
    /// The bytes for reading. Does not detach.
    const QByteArray &data() const { return d.constData()->bytes(); }

    /// Completes the message before it is sent, in the way of its data's class.
    virtual void prepare();
    /// Whether prepare() has completed it, and nobody has asked for the writable bytes since.
    bool isPrepared() const { return d.constData()->isPrepared(); }

    /// What all copies share.
    const BusMessageData &sharedData() const { return *d.constData(); }
    /// Whether this and @p other are still copies of each other.
    bool sharesDataWith(const BusMessage &other) const { return d.constData() == other.d.constData(); }

protected:
    /// Adopts @p data, which a subclass has created on the heap.
    explicit BusMessage(BusMessageData &data);

    /// A new pending call that sends this message over @p bus, which may be null; the caller takes it over.
    /// If this message is not prepared, the call sends a prepared copy.
    virtual BusPendingCallData *createPendingCall(Bus *bus) const;

    /// What the copies share.
    QSharedDataPointer<BusMessageData> d;

private:
    friend class BusObject;
};

Q_DECLARE_METATYPE(BusMessage)

#endif
