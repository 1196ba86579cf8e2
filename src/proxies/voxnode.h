#ifndef VOX_PROXIES_VOXNODE_H
#define VOX_PROXIES_VOXNODE_H

#include <vox/framework/busobject.h>
#include <vox/messages/vox.h>

class VOXBus;

/// An object that stands for one node on a bus: a proxy of the host, or an emulated node.
///
/// A proxy is used on its bus's thread; an emulated node may live on another. Belongs to its parent and never
/// owns its bus: either may be destroyed first. A call goes on even if the node that made it is destroyed.
/// @ingroup proxies
class VOX_EXPORT VOXNode : public BusObject
{
    Q_OBJECT
    Q_PROPERTY(VOX::Addr addr READ addr WRITE setAddr NOTIFY addrChanged)

public:
    /// Stores @p addr as given, node type and all. A null @p bus leaves the node unattached.
    VOXNode(unsigned int addr, Bus *bus, QObject *parent = nullptr);
    ~VOXNode() override;

    /// The address, 24 bits. With @p full, also the node type in bits 24 to 27, and any bits above it.
    unsigned int addr(bool full = false) const;
    /// NODETYPE_ANY if the address has none.
    VOX::NodeType type() const;
    /// Replaces bits 24 to 31 of the address. Emits no signal: addrChanged() tells of addresses alone.
    void setType(VOX::NodeType type);

    /// Whether @p frame came from this address. Frames have no numbers, so a late answer of one node may end
    /// a call to another. Ask this where it matters.
    bool hasSent(const BusMessage &frame) const;

    /// Takes another address. If @p addr has no node type, the node keeps its own. @p addr is compared with
    /// the full address as it is passed, so the bare 24 bits of the present address are stored, and
    /// announced, once more.
    virtual void setAddr(unsigned int addr);

public Q_SLOTS:
    /// A null @p bus detaches the node, and the result is true. detach() does the same.
    virtual bool attach(VOXBus *bus);
    /// False, with nothing changed, if @p bus is null or of another kind.
    bool attach(Bus *bus) override;

Q_SIGNALS:
    /// Carries the full address.
    void addrChanged(VOX::Addr addr);

protected:
    /// Stores @p addr by the rule of setAddr() without a signal. False if it is the present one.
    bool storeAddr(unsigned int addr);

private:
    unsigned int m_addr;
};

#endif
