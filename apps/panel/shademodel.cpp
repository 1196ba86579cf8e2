#include "panel/shademodel.h"

#include "panel/places.h"

void ShadeModel::add(PanelLine &line)
{
    connect(&line, &PanelLine::networkGoing, this, [this, &line] {
        for (int row = rowCount() - 1; row >= 0; --row) {
            if (m_rows[row].line == &line)
                remove(row);
        }
    });
    connect(&line, &PanelLine::networkChanged, this, [this, &line] { listenTo(line); });
    listenTo(line);
}

void ShadeModel::listenTo(PanelLine &line)
{
    const VOXNetwork &network = line.network();
    connect(&network, &VOXNetwork::nodeAdded, this,
            [this, &line](VOXNetworkNode *node) { insert(line, node); });
    connect(&network, &VOXNetwork::nodeRemoved, this, [this, &line](VOX::Addr addr) {
        for (int row = rowCount() - 1; row >= 0; --row) {
            if (m_rows[row].line == &line && m_rows[row].node->address() == addr)
                remove(row);
        }
    });
    connect(&network, &VOXNetwork::nodeChanged, this, &ShadeModel::nodeChanged);
    const auto nodes = network.nodes();
    for (VOXNetworkNode *const node : nodes)
        insert(line, node);
}

void ShadeModel::insert(PanelLine &line, VOXNetworkNode *node)
{
    const bool isThere = lineOf(node) != nullptr;
    if (isThere || !qobject_cast<VOXNetworkMotor *>(node))
        return;
    beginInsertRows({}, rowCount(), rowCount());
    m_rows.append({node, &line});
    endInsertRows();
    Q_EMIT countChanged();
}

void ShadeModel::remove(int row)
{
    beginRemoveRows({}, row, row);
    m_rows.remove(row);
    endRemoveRows();
    Q_EMIT countChanged();
}

PanelLine *ShadeModel::lineOf(const VOXNetworkNode *node) const
{
    for (const Row &row : m_rows) {
        if (row.node == node)
            return row.line;
    }
    return nullptr;
}

int ShadeModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

QVariant ShadeModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const Row &row = m_rows[index.row()];
    switch (role) {
    case NodeRole:
        return QVariant::fromValue<QObject *>(row.node);
    case LineRole:
        return QVariant::fromValue<QObject *>(row.line);
    case FacadeRole:
        return row.line->facadeOf(row.node->address());
    case KeyRole:
        return Places::keyOf(*row.line, row.node->address());
    default:
        return {};
    }
}

QHash<int, QByteArray> ShadeModel::roleNames() const
{
    return {{NodeRole, "shade"}, {LineRole, "line"}, {FacadeRole, "facade"}, {KeyRole, "key"}};
}
