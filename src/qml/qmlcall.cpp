#include "qml/qmlcall_p.h"

#include "messages/kvr.h"
#include "network/voxnetworknode.h"

QmlCall::QmlCall(const BusPendingCall &call, VOXNetworkNode *node, QObject *parent)
    : QObject(parent)
    , m_node(node)
{
    call.onFinished(this, [this](const BusPendingCall &ended) { handleFinished(ended); });
}

void QmlCall::handleFinished(const BusPendingCall &call)
{
    // Nothing else ends with Canceled before it was sent than what cannot be.
    const bool isRefused = call.error() == BusPendingCall::Canceled || KVR::isNack(call.reply());
    m_problem = isRefused && m_node ? m_node->lastRefusal() : call.errorString();
    m_isRunning = false;
    Q_EMIT finished();
    deleteLater();
}
