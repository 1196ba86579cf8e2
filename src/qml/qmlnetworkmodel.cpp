#include "qml/qmlnetworkmodel_p.h"

#include <limits>

void QmlNetworkModel::setPageNetwork(QmlNetwork *network)
{
    if (network == m_page)
        return;
    if (m_page)
        m_page->disconnect(this);
    m_page = network;
    setNetwork(network ? network->shown() : nullptr);
    if (network)
        connect(network, &QmlNetwork::shownChanged, this, [this] { setNetwork(m_page->shown()); });
    Q_EMIT pageNetworkChanged();
}

QmlNode *QmlNetworkModel::nodeAt(const QJSValue &row) const
{
    PageArguments arguments(this, "nodeAt");
    const int number = arguments.number("row", row, 0, std::numeric_limits<int>::max());
    return arguments.areRight() && m_page ? m_page->item(VOXNetworkModel::nodeAt(number)) : nullptr;
}

int QmlNetworkModel::rowOf(const QJSValue &addr) const
{
    PageArguments arguments(this, "rowOf");
    const VOX::Addr node = arguments.node(addr);
    return arguments.areRight() ? VOXNetworkModel::rowOf(node) : -1;
}

QHash<int, QByteArray> QmlNetworkModel::roleNames() const
{
    QHash<int, QByteArray> names = VOXNetworkModel::roleNames();
    names.insert(MotorRole, "motor");
    return names;
}

QVariant QmlNetworkModel::data(const QModelIndex &index, int role) const
{
    if ((role != NodeRole && role != MotorRole) || !m_page || !index.isValid())
        return VOXNetworkModel::data(index, role);
    QmlNode *const node = m_page->item(VOXNetworkModel::nodeAt(index.row()));
    return QVariant::fromValue<QObject *>(role == NodeRole ? node : qobject_cast<QmlMotor *>(node));
}
