#ifndef VOX_QML_QMLNETWORKMODEL_P_H
#define VOX_QML_QMLNETWORKMODEL_P_H

#include <vox/network/voxnetworkmodel.h>
#include <vox/qml/qmlnetwork_p.h>

/// A VOXNetworkModel for pages: its role "node" is a Node or a Motor.
///
/// "motor" is the same if it is a Motor, else null: in Qt 5.15 a Node as Motor is the Node, an error.
class QmlNetworkModel : public VOXNetworkModel
{
    Q_OBJECT
    QML_NAMED_ELEMENT(NetworkModel)
    Q_PROPERTY(QmlNetwork *network READ pageNetwork WRITE setPageNetwork NOTIFY pageNetworkChanged)

public:
    static constexpr int MotorRole = RefusalRole + 1;

    using VOXNetworkModel::VOXNetworkModel;

    QmlNetwork *pageNetwork() const { return m_page; }
    void setPageNetwork(QmlNetwork *network);

    ///@{
    /// See VOXNetworkModel. Throws what cannot be.
    Q_INVOKABLE QmlNode *nodeAt(const QJSValue &row) const;
    Q_INVOKABLE int rowOf(const QJSValue &addr) const;
    ///@}
    QHash<int, QByteArray> roleNames() const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

Q_SIGNALS:
    void pageNetworkChanged();

private:
    QPointer<QmlNetwork> m_page;
};

#endif
