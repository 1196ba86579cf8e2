#ifndef VOX_DEVICES_VOXDEVICE_H
#define VOX_DEVICES_VOXDEVICE_H

#include <vox/messages/voxmessage.h>
#include <vox/proxies/voxnode.h>

#include <cstddef>

/// An emulated node: sits on a bus under its address and answers what the bus brings it.
///
/// The base answers nothing. May live on another thread than its bus: its frames then come queued, and its
/// replies go back the same way. Destroying it takes it off the bus; destroying the bus first leaves it
/// detached. Never owns the bus.
/// @ingroup devices
class VOX_EXPORT VOXDevice : public VOXNode
{
    Q_OBJECT

public:
    /// A null @p bus leaves the device unattached.
    VOXDevice(unsigned int addr, VOXBus *bus, QObject *parent = nullptr);
    ~VOXDevice() override;

    /// Registers anew under the new address. Emits addrChanged() when that is done.
    void setAddr(unsigned int addr) override;

    using VOXNode::attach;
    /// Detaches, as a null bus of either type would.
    bool attach(std::nullptr_t) { return attach(static_cast<VOXBus *>(nullptr)); }

    /// Sends @p msg; an invalid one is dropped, which is how a handler declines to answer.
    void reply(const VOXMessage &msg);

public Q_SLOTS:
    /// Takes the node off its bus. Frames that are already queued to another thread still come; the answers
    /// to them are dropped.
    void detach() override;
    /// Always detaches first. With a null @p bus that is all, and the result is true.
    bool attach(VOXBus *bus) override;
    /// Handles a frame for this node, for one of its groups, or for all nodes.
    virtual void dispatch(const VOXMessage &msg);

protected:
    /// The bus; null without one. Lock #m_mutex while asking for it and using it.
    VOXBus *voxBus() const;
};

#endif
