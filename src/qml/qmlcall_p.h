#ifndef VOX_QML_QMLCALL_P_H
#define VOX_QML_QMLCALL_P_H

#include <vox/framework/buspendingcall.h>

#include <QPointer>
#include <QtQml>

class VOXNetworkNode;

/// What has become of a command that moves nothing: a setting, a lock, a wink. It is destroyed some time
/// after finished().
class QmlCall : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Call)
    QML_UNCREATABLE("Commands of nodes return calls.")
    Q_PROPERTY(bool running READ isRunning NOTIFY finished)
    Q_PROPERTY(QString problem READ problem NOTIFY finished)

public:
    QmlCall(const BusPendingCall &call, VOXNetworkNode *node, QObject *parent);

    bool isRunning() const { return m_isRunning; }
    /// Why it was not done, and what to do. Empty if it was, and while it runs.
    QString problem() const { return m_problem; }

Q_SIGNALS:
    /// Once, from the event loop.
    void finished();

private:
    void handleFinished(const BusPendingCall &call);

    QPointer<VOXNetworkNode> m_node;
    bool m_isRunning = true;
    QString m_problem;
};

#endif
