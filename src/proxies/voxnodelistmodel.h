#ifndef VOXNODELISTMODEL_H
#define VOXNODELISTMODEL_H

#include "messages/vox_export.h"

#include <QAbstractListModel>
#include <QList>
#include <QPointer>

class VOXNode;

/// A list of nodes for item views: one column, whose display and edit data is the node, as a QObject pointer.
///
/// The application inserts empty rows and stores a node in each. A node belongs to whoever made it, with two
/// exceptions: one that another node replaces is deleted, and one whose parent is the model is deleted with
/// its row. A node that is deleted elsewhere leaves its row empty. Used on one thread.
class VOX_EXPORT VOXNodeListModel : public QAbstractListModel
{
    Q_OBJECT

public:
    explicit VOXNodeListModel(QObject *parent = nullptr);
    ~VOXNodeListModel() override;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    /// The node of the row; null for a row that has none.
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QModelIndex sibling(int row, int column, const QModelIndex &idx) const override;

    /// Stores the VOXNode that @p value holds as a pointer to a QObject; false if it holds none. The node
    /// that was there is deleted, whoever owns it. Views are not told: dataChanged() is not emitted, on
    /// purpose.
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    bool insertRows(int row, int count, const QModelIndex &parent = QModelIndex()) override;
    /// Announces that @p count rows from @p row on go, but takes those at positions 0, 2, 4 and so on, on
    /// purpose. Positions past the end are left out.
    bool removeRows(int row, int count, const QModelIndex &parent = QModelIndex()) override;

private:
    bool hasRow(const QModelIndex &index, int role) const;

    QList<QPointer<VOXNode>> m_nodes;
};

#endif
