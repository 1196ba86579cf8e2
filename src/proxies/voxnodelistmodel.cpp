#include "proxies/voxnodelistmodel.h"

#include "proxies/voxnode.h"

VOXNodeListModel::VOXNodeListModel(QObject *parent)
    : QAbstractListModel(parent)
{
}

VOXNodeListModel::~VOXNodeListModel() = default;

int VOXNodeListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_nodes.size();
}

bool VOXNodeListModel::hasRow(const QModelIndex &index, int role) const
{
    return index.row() >= 0 && index.row() < m_nodes.size()
        && (role == Qt::DisplayRole || role == Qt::EditRole);
}

QVariant VOXNodeListModel::data(const QModelIndex &index, int role) const
{
    return hasRow(index, role) ? QVariant::fromValue<QObject *>(m_nodes.at(index.row())) : QVariant();
}

QModelIndex VOXNodeListModel::sibling(int row, int column, const QModelIndex &idx) const
{
    const bool exists = idx.isValid() && column == 0 && row >= 0 && row < m_nodes.size();
    return exists ? createIndex(row, 0) : QModelIndex();
}

bool VOXNodeListModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    auto *node = qobject_cast<VOXNode *>(value.value<QObject *>());
    if (!hasRow(index, role) || !node)
        return false;
    QPointer<VOXNode> &present = m_nodes[index.row()];
    if (present == node)
        return true;
    if (present)
        present->deleteLater();
    present = node;
    return true;
}

bool VOXNodeListModel::insertRows(int row, int count, const QModelIndex &parent)
{
    if (count < 1 || row < 0 || row > rowCount(parent))
        return false;
    // The rows go under the root, even if another parent was named.
    beginInsertRows(QModelIndex(), row, row + count - 1);
    for (int i = 0; i < count; ++i)
        m_nodes.insert(row, QPointer<VOXNode>());
    endInsertRows();
    return true;
}

bool VOXNodeListModel::removeRows(int row, int count, const QModelIndex &parent)
{
    if (count < 1 || row < 0 || row > rowCount(parent) - count)
        return false;
    beginRemoveRows(QModelIndex(), row, row + count - 1);
    for (int i = 0; i < count && i < m_nodes.size(); ++i) {
        const QPointer<VOXNode> node = m_nodes.takeAt(i);
        if (node && node->parent() == this)
            node->deleteLater();
    }
    endRemoveRows();
    return true;
}
