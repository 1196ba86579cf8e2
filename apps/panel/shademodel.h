#ifndef SHADEMODEL_H
#define SHADEMODEL_H

#include "panel/panelline.h"

#include <QAbstractListModel>

/// The motors of all lines as rows, in the order in which they came.
class ShadeModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Role : int { NodeRole = Qt::UserRole, LineRole, FacadeRole, KeyRole };
    struct Row
    {
        VOXNetworkNode *node;
        PanelLine *line;
    };

    using QAbstractListModel::QAbstractListModel;

    /// The line outlives this.
    void add(PanelLine &line);
    const QVector<Row> &rows() const { return m_rows; }
    /// Null if it is none of these.
    PanelLine *lineOf(const VOXNetworkNode *node) const;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void countChanged();
    /// A node of a row has told something.
    void nodeChanged();

private:
    void listenTo(PanelLine &line);
    void insert(PanelLine &line, VOXNetworkNode *node);
    void remove(int row);

    QVector<Row> m_rows;
};

#endif
