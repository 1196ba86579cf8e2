#include "qml/qmlnetworkmodel_p.h"

#include <limits>

void QmlNetworkModel::setPageNetwork(QmlNetwork *network)
{
    if (network == m_page)
        return;
    if (m_page)
        m_page->disconnect(this);
    m_page = network;
    setNetwork(network ? network->source() : nullptr);
    if (network)
        connect(network, &QmlNetwork::sourceChanged, this, [this] { setNetwork(m_page->source()); });
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

QVariant QmlNetworkModel::data(const QModelIndex &index, int role) const
{
    if (role != NodeRole || !m_page || !index.isValid())
        return VOXNetworkModel::data(index, role);
    return QVariant::fromValue<QObject *>(m_page->item(VOXNetworkModel::nodeAt(index.row())));
}
