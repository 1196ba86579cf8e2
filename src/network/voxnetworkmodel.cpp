#include "network/voxnetworkmodel.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {
struct RoleRow
{
    int role;
    const char *name;
    /// The property of the node; null for what is none.
    const char *property;
};

constexpr RoleRow roles[] = {
    {VOXNetworkModel::NodeRole, "node", nullptr},
    {VOXNetworkModel::AddressRole, "address", "address"},
    {VOXNetworkModel::AddressTextRole, "addressText", "addressText"},
    {VOXNetworkModel::TypeRole, "type", "typeName"},
    {VOXNetworkModel::LabelRole, "label", "label"},
    {VOXNetworkModel::PresenceRole, "presence", nullptr},
    {VOXNetworkModel::IsMotorRole, "isMotor", nullptr},
    {VOXNetworkModel::PercentRole, "percent", "percent"},
    {VOXNetworkModel::EstimatedPercentRole, "estimatedPercent", "estimatedPercent"},
    {VOXNetworkModel::TargetPercentRole, "targetPercent", "targetPercent"},
    {VOXNetworkModel::StateRole, "state", "state"},
    {VOXNetworkModel::MovingRole, "moving", "moving"},
    {VOXNetworkModel::LockedRole, "locked", "locked"},
    {VOXNetworkModel::RefusalRole, "lastRefusal", "lastRefusal"},
};

/// Where the node with this address is, or would be.
template <typename Nodes>
auto placeOf(Nodes &nodes, VOX::Addr addr)
{
    return std::lower_bound(nodes.begin(), nodes.end(), addr, [](const VOXNetworkNode *node, VOX::Addr each) {
        return node->address() < each;
    });
}
}

VOXNetworkModel::VOXNetworkModel(QObject *parent)
    : QAbstractListModel(parent)
{
}

VOXNetworkModel::VOXNetworkModel(VOXNetwork *network, QObject *parent)
    : VOXNetworkModel(parent)
{
    setNetwork(network);
}

VOXNetworkModel::~VOXNetworkModel() = default;

VOXNetwork *VOXNetworkModel::network() const
{
    return m_network;
}

void VOXNetworkModel::setNetwork(VOXNetwork *network)
{
    if (network == m_network && (network || m_nodes.isEmpty()))
        return;
    if (m_network)
        m_network->disconnect(this);
    beginResetModel();
    m_network = network;
    m_nodes = network ? network->nodes() : QVector<VOXNetworkNode *>();
    endResetModel();
    if (network) {
        connect(network, &VOXNetwork::nodeAdded, this, &VOXNetworkModel::insert);
        connect(network, &VOXNetwork::nodeRemoved, this, &VOXNetworkModel::remove);
        connect(network, &VOXNetwork::nodeChanged, this, &VOXNetworkModel::handleChanged);
        // The nodes still live then.
        connect(network, &QObject::destroyed, this, [this] { setNetwork(nullptr); });
    }
    Q_EMIT networkChanged();
    Q_EMIT countChanged();
}

VOXNetworkNode *VOXNetworkModel::nodeAt(int row) const
{
    return m_nodes.value(row);
}

int VOXNetworkModel::rowOf(VOX::Addr addr) const
{
    const auto place = placeOf(m_nodes, addr);
    return place != m_nodes.end() && (*place)->address() == addr ? static_cast<int>(place - m_nodes.begin())
                                                                 : -1;
}

int VOXNetworkModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_nodes.size());
}

QVariant VOXNetworkModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    VOXNetworkNode *const node = m_nodes.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
        return node->label().isEmpty() ? node->addressText() : node->label();
    case NodeRole:
        return QVariant::fromValue(node);
    case IsMotorRole:
        return qobject_cast<VOXNetworkMotor *>(node) != nullptr;
    case PresenceRole:
        // A number: QML compares variants of other types by == alone.
        return static_cast<int>(node->presence());
    default:
        break;
    }
    const auto *const row = std::find_if(std::begin(roles), std::end(roles),
                                         [=](const RoleRow &each) { return each.role == role; });
    return row == std::end(roles) ? QVariant() : node->property(row->property);
}

QHash<int, QByteArray> VOXNetworkModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    for (const RoleRow &row : roles)
        names.insert(row.role, row.name);
    return names;
}

void VOXNetworkModel::insert(VOXNetworkNode *node)
{
    // It may have been there when the rows were made, and only the signal was still to come.
    if (m_network->node(node->address()) != node || rowOf(node->address()) >= 0)
        return;
    const auto place = placeOf(m_nodes, node->address());
    const int row = static_cast<int>(place - m_nodes.begin());
    beginInsertRows({}, row, row);
    m_nodes.insert(row, node);
    endInsertRows();
    Q_EMIT countChanged();
}

void VOXNetworkModel::remove(VOX::Addr addr)
{
    const int row = rowOf(addr);
    if (row < 0)
        return;
    beginRemoveRows({}, row, row);
    m_nodes.removeAt(row);
    endRemoveRows();
    Q_EMIT countChanged();
}

void VOXNetworkModel::handleChanged(VOXNetworkNode *node)
{
    const int row = rowOf(node->address());
    if (row >= 0)
        Q_EMIT dataChanged(index(row), index(row));
}
