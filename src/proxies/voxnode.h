#ifndef VOX_PROXIES_VOXNODE_H
#define VOX_PROXIES_VOXNODE_H

#include <vox/framework/busobject.h>
#include <vox/messages/vox.h>

class VOXBus;

/// Whatever stands for one node on a bus: a proxy of the host, or an emulated node.
///
/// A proxy is used on its bus's thread; an emulated node may live on another. Belongs to its parent and never
/// owns its bus: either may be destroyed first. A call goes on when the node that made it is gone.
/// @ingroup proxies
class VOX_EXPORT VOXNode : public BusObject
{
    Q_OBJECT
    Q_PROPERTY(VOX::Addr addr READ addr WRITE setAddr NOTIFY addrChanged)

public:
    /// Stores @p addr as given, node type and all. A null @p bus leaves the node unattached.
    VOXNode(unsigned int addr, Bus *bus, QObject *parent = nullptr);
    ~VOXNode() override;

    /// 24 bits; with @p full the node type in bits 24 to 27, and whatever stands above it, too.
    unsigned int addr(bool full = false) const;
    /// NODETYPE_ANY if the address has none.
    VOX::NodeType type() const;
    /// Replaces bits 24 to 31 of the address. Silent: addrChanged() tells of addresses alone.
    void setType(VOX::NodeType type);

    /// Whether @p frame came from this address. Frames have no numbers: what one node answers late may end a
    /// call to another, so who must be sure asks.
    bool hasSent(const BusMessage &frame) const;

    /// Takes another address. Without a node type in it, the node keeps its own. The value passed is compared
    /// with the full address, so the bare 24 bits of the present one are stored, and announced, once more.
    virtual void setAddr(unsigned int addr);

public Q_SLOTS:
    /// A null @p bus detaches, and is true; detach() says the same.
    virtual bool attach(VOXBus *bus);
    /// False, with nothing changed, if @p bus is null or of another kind.
    bool attach(Bus *bus) override;

Q_SIGNALS:
    /// With the full address.
    void addrChanged(VOX::Addr addr);

protected:
    /// Stores @p addr by the rule of setAddr() without a signal. False if it is the present one.
    bool storeAddr(unsigned int addr);

private:
    unsigned int m_addr;
};

#endif
