#include "qml/qmlnode_p.h"

QmlNode::QmlNode(VOXNetworkNode *node, QObject *parent)
    : QObject(parent)
    , m_node(node)
    , m_address(node->address())
    , m_isLegacy(node->isLegacy())
{
    connect(node, &VOXNetworkNode::presenceChanged, this, &QmlNode::presenceChanged);
    connect(node, &VOXNetworkNode::changed, this, &QmlNode::changed);
}

void QmlNode::leave()
{
    if (m_node)
        m_node->disconnect(this);
    m_node.clear();
    Q_EMIT presenceChanged();
    Q_EMIT changed();
}

double QmlNode::silentForMs() const
{
    return m_node ? static_cast<double>(m_node->silentForMs()) : -1;
}

bool QmlNode::isThere(PageArguments &arguments) const
{
    if (!m_node)
        arguments.check(QStringLiteral("the node is no longer in the network"));
    return arguments.areRight();
}

void QmlNode::refresh()
{
    PageArguments arguments(this, "refresh");
    if (isThere(arguments))
        m_node->refresh();
}

QmlCall *QmlNode::setLabel(const QJSValue &label)
{
    PageArguments arguments(this, "setLabel");
    const QString text = arguments.text("label", label);
    return isThere(arguments) ? follow(m_node->setLabel(text)) : nullptr;
}
