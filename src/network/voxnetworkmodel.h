#ifndef VOX_NETWORK_VOXNETWORKMODEL_H
#define VOX_NETWORK_VOXNETWORKMODEL_H

#include <vox/network/voxnetwork.h>

#include <QAbstractListModel>
#include <QPointer>

/// The nodes of a VOXNetwork as rows, sorted by address, that come, change and go while they are shown.
///
/// Used on the network's thread. Does not own the network, which may be destroyed first: the rows go then.
/// Read only.
/// @ingroup network
class VOX_NETWORK_EXPORT VOXNetworkModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(VOXNetwork *network READ network WRITE setNetwork NOTIFY networkChanged)
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    /// What a row tells. The display role is the label, or the address of a node without one.
    enum Role : int {
        NodeRole = Qt::UserRole, ///< The VOXNetworkNode, as a QObject: "node".
        AddressRole, ///< A number: "address".
        AddressTextRole, ///< "addressText"
        TypeRole, ///< The name of the type: "type".
        LabelRole, ///< "label"
        PresenceRole, ///< A VOXNetworkNode::Presence: "presence".
        IsMotorRole, ///< "isMotor". The roles below are invalid for others, and while they are unknown.
        PercentRole, ///< "percent"
        EstimatedPercentRole, ///< "estimatedPercent". It changes without a signal.
        TargetPercentRole, ///< "targetPercent"
        StateRole, ///< A KVRMotor::State: "state".
        MovingRole, ///< "moving"
        LockedRole, ///< "locked"
        RefusalRole ///< VOXNetworkNode::lastRefusal(): "lastRefusal".
    };
    Q_ENUM(Role)

    ///@{
    /// Without a network there are no rows.
    explicit VOXNetworkModel(QObject *parent = nullptr);
    explicit VOXNetworkModel(VOXNetwork *network, QObject *parent = nullptr);
    ///@}
    ~VOXNetworkModel() override;

    /// Null if there is none, and once it has been destroyed.
    VOXNetwork *network() const;
    /// Replaces all rows. Null leaves none.
    void setNetwork(VOXNetwork *network);

    /// Null if there is no such row.
    Q_INVOKABLE VOXNetworkNode *nodeAt(int row) const;
    /// -1 if there is no such node.
    Q_INVOKABLE int rowOf(VOX::Addr addr) const;

    ///@{
    /// A list: no row has children.
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    ///@}

Q_SIGNALS:
    ///@{
    /// A property has got another value.
    void networkChanged();
    void countChanged();
    ///@}

private:
    void insert(VOXNetworkNode *node);
    void remove(VOX::Addr addr);
    void handleChanged(VOXNetworkNode *node);

    QPointer<VOXNetwork> m_network;
    // By address.
    QVector<VOXNetworkNode *> m_nodes;
};

#endif
