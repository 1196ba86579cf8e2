#ifndef VOX_QML_QMLNODE_P_H
#define VOX_QML_QMLNODE_P_H

#include <vox/network/voxnetworkmotor.h>
#include <vox/qml/pagearguments_p.h>
#include <vox/qml/qmlcall_p.h>

#include <QPointer>
#include <QtQml>

/// A VOXNetworkNode for pages, which may keep it. Once the node has gone, its values are empty, it is Down,
/// and its commands throw.
class QmlNode : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Node)
    QML_UNCREATABLE("A Network makes its nodes.")
    Q_PROPERTY(uint address READ address CONSTANT)
    Q_PROPERTY(QString addressText READ addressText CONSTANT)
    Q_PROPERTY(QString type READ type NOTIFY changed)
    Q_PROPERTY(QString label READ label NOTIFY changed)
    Q_PROPERTY(QString serialNumber READ serialNumber NOTIFY changed)
    Q_PROPERTY(QString appVersion READ appVersion NOTIFY changed)
    Q_PROPERTY(QString stackVersion READ stackVersion NOTIFY changed)
    Q_PROPERTY(QString lastRefusal READ lastRefusal NOTIFY changed)
    Q_PROPERTY(Presence presence READ presence NOTIFY presenceChanged)
    Q_PROPERTY(bool legacy READ isLegacy CONSTANT)

public:
    enum Presence : int {
        Unknown = VOXNetworkNode::Unknown,
        Up = VOXNetworkNode::Up,
        Shaky = VOXNetworkNode::Shaky,
        Down = VOXNetworkNode::Down
    };
    Q_ENUM(Presence)

    QmlNode(VOXNetworkNode *node, QObject *parent);

    uint address() const { return m_address; }
    QString addressText() const { return VOX::toString(m_address); }
    /// The type's name without its NODETYPE_.
    QString type() const { return of(&VOXNetworkNode::typeName); }
    QString label() const { return of(&VOXNetworkNode::label); }
    QString serialNumber() const { return of(&VOXNetworkNode::serialNumber); }
    QString appVersion() const { return of(&VOXNetworkNode::appVersion); }
    QString stackVersion() const { return of(&VOXNetworkNode::stackVersion); }
    QString lastRefusal() const { return of(&VOXNetworkNode::lastRefusal); }
    Presence presence() const { return m_node ? static_cast<Presence>(m_node->presence()) : Down; }
    bool isLegacy() const { return m_isLegacy; }

    /// Lets the node go, of which nothing is used from here on.
    void leave();

    ///@{
    /// Milliseconds; -1 for never, or none.
    Q_INVOKABLE double silentForMs() const;
    Q_INVOKABLE int answerMs() const { return m_node ? m_node->answerMs() : -1; }
    ///@}
    Q_INVOKABLE void refresh();
    Q_INVOKABLE QmlCall *setLabel(const QJSValue &label);

Q_SIGNALS:
    void presenceChanged();
    void changed();

protected:
    template <typename Value>
    Value of(Value (VOXNetworkNode::*get)() const) const
    {
        return m_node ? (m_node->*get)() : Value();
    }
    /// False, and thrown, if the node has gone.
    bool isThere(PageArguments &arguments) const;
    VOXNetworkNode *node() const { return m_node; }
    QmlCall *follow(const BusPendingCall &call) { return new QmlCall(call, m_node, this); }

private:
    QPointer<VOXNetworkNode> m_node;
    const VOX::Addr m_address;
    const bool m_isLegacy;
};

#endif
