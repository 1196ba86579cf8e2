#ifndef VOX_FRAMEWORK_BUSMESSAGEDATA_H
#define VOX_FRAMEWORK_BUSMESSAGEDATA_H

#include <vox/framework/bus_export.h>

#include <QByteArray>
#include <QSharedData>
#include <QSharedDataPointer>

class Bus;
class BusMessage;
class BusPendingCallData;

/// What the copies of one message share: its bytes, and how the bus is to treat it.
///
/// A subclass that adds fields copies them in clone(); the base is a message that expects no answer. Owned by
/// the messages that share it. Reentrant.
/// @ingroup framework
class VOX_BUS_EXPORT BusMessageData : public QSharedData
{
public:
    /// @p control is the first word of a frame that its subclass is about to build; the base keeps no bytes
    /// of it.
    explicit BusMessageData(unsigned int control = 0);
    /// Copies the bytes. The copy counts as not prepared.
    BusMessageData(const BusMessageData &other);
    BusMessageData &operator=(const BusMessageData &) = delete;
    virtual ~BusMessageData();

    /// Whether @p message answers this one.
    virtual bool isReply(const BusMessage &message) const;
    /// Whether an answer is expected at all.
    virtual bool hasReply() const;
    /// Milliseconds for which the line stays reserved after this message, and after its answer; 5 in the
    /// base.
    virtual unsigned int busFreeDelay() const;
    /// Milliseconds to wait for the answer; 0 in the base.
    virtual unsigned int timeout() const;
    /// A copy of the same class, on the heap. Every subclass overrides it.
    virtual BusMessageData *clone() const;
    /// Completes the bytes before they are sent, and marks them so.
    virtual void prepare();
    /// A new, unowned pending call for sending @p message, which shares this data, over @p bus, which may be
    /// null.
    virtual BusPendingCallData *createPendingCall(const QSharedDataPointer<BusMessageData> &message,
                                                  Bus *bus) const;
    /// Puts the message on @p bus, now that it is its turn; in the base, by Bus::write(). Negative: it was
    /// not sent.
    virtual int writeTo(Bus &bus) const;

    ///@{
    /// The bytes themselves. A change here leaves isPrepared() as it is, unlike BusMessage::data().
    const QByteArray &bytes() const { return m_bytes; }
    QByteArray &bytes() { return m_bytes; }
    ///@}

    ///@{
    /// Whether the bytes are complete. Kept up by BusMessage.
    bool isPrepared() const { return m_prepared; }
    void setPrepared(bool prepared) { m_prepared = prepared; }
    ///@}

private:
    QByteArray m_bytes;
    bool m_prepared = false;
};

/// Detaching makes a copy of the same subclass.
template <>
VOX_BUS_EXPORT BusMessageData *QSharedDataPointer<BusMessageData>::clone();

#endif
