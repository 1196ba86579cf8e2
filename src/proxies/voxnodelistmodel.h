#ifndef VOX_PROXIES_VOXNODELISTMODEL_H
#define VOX_PROXIES_VOXNODELISTMODEL_H

#include <vox/messages/vox_export.h>

#include <QAbstractListModel>
#include <QList>
#include <QPointer>

class VOXNode;

/// A list of nodes for item views: one column, whose display and edit data is the node, as a QObject pointer.
///
/// The application inserts empty rows and stores a node in each. A node belongs to the code that made it,
/// with two exceptions. A node that another one replaces is deleted. A node whose parent is the model is
/// deleted with its row, or with the model. All others outlive the model. A node that is deleted elsewhere
/// leaves its row empty. Used on one thread, that of its nodes.
///
/// Scripts may call data(), and the engine then owns a node that has no parent: it deletes the node once no
/// script holds it any more, at the latest with itself. So give nodes a parent, or
/// QQmlEngine::CppOwnership. A delegate that only reads display or edit changes no owner.
/// @ingroup proxies
class VOX_EXPORT VOXNodeListModel : public QAbstractListModel
{
    Q_OBJECT

public:
    /// Has no rows at first.
    explicit VOXNodeListModel(QObject *parent = nullptr);
    ~VOXNodeListModel() override;

    /// The model is flat: 0 below a row.
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    /// The node of the row; null for a row that has none. No value for roles other than display and edit.
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    /// Invalid unless @p idx is valid, @p column is 0 and there is such a row.
    QModelIndex sibling(int row, int column, const QModelIndex &idx) const override;

    /// Stores the VOXNode that @p value holds as a pointer to a QObject. False, with nothing changed, if it
    /// holds none, the row does not exist, or @p role is neither display nor edit. Another node that was
    /// there is deleted later, whoever owns it. Views are not told: dataChanged() is not emitted, on purpose.
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    /// Inserts rows without a node. False, with nothing changed, if @p count is below 1, or @p row is neither
    /// in the list nor its end. If @p parent is a row, @p row must be 0, and the rows go to the beginning of
    /// the list, on purpose.
    bool insertRows(int row, int count, const QModelIndex &parent = QModelIndex()) override;
    /// Announces that @p count rows from @p row on are removed, but removes those at positions 0, 2, 4 and so
    /// on, on purpose. Positions past the end are left out. False, with nothing changed, if @p count is below
    /// 1 or not all of the rows exist.
    bool removeRows(int row, int count, const QModelIndex &parent = QModelIndex()) override;

private:
    bool hasRow(const QModelIndex &index, int role) const;

    QList<QPointer<VOXNode>> m_nodes;
};

#endif
