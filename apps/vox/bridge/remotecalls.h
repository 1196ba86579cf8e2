#ifndef REMOTECALLS_H
#define REMOTECALLS_H

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QStringList>

class VOXNetwork;
struct MqttMessage;

/// Calls operations for others: {"operation": "getMotorLimits", "arguments": [], "id": "a1"}.
class RemoteCalls : public QObject
{
    Q_OBJECT

public:
    /// The longest payload that is looked at.
    static constexpr int MaxBytes = 4096;

    /// @p operations are those that may be called, all of them with "*". @p network must outlive it.
    RemoteCalls(const QStringList &operations, VOXNetwork &network);

    void handle(unsigned int addr, const MqttMessage &message);

Q_SIGNALS:
    /// A command has gone to the node, not only a question.
    void commanded(unsigned int addr);
    /// A node has taken another setting.
    void configured(unsigned int addr);
    /// What is to be said to the sender of @p message.
    void answered(unsigned int addr, const MqttMessage &message, const QByteArray &payload);

private:
    QString call(unsigned int addr, const MqttMessage &message, const QJsonObject &request);

    QStringList m_operations;
    VOXNetwork &m_network;
    int m_running = 0;
};

#endif
