#ifndef VOX_QML_QMLNETWORK_P_H
#define VOX_QML_QMLNETWORK_P_H

#include <vox/network/voxnetwork.h>
#include <vox/qml/qmlmotor_p.h>

#include <QHash>

/// A VOXNetwork for pages, on the bus that a URL names.
///
/// Another bus is another network: the nodes of the one before go. What the page has set stays.
class QmlNetwork : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Network)
    Q_PROPERTY(QString bus READ bus WRITE setBus NOTIFY busChanged)
    Q_PROPERTY(Line line READ line NOTIFY lineChanged)
    Q_PROPERTY(QString lineProblem READ lineProblem NOTIFY lineChanged)
    Q_PROPERTY(bool sending READ isSending WRITE setSending NOTIFY sendingChanged)
    Q_PROPERTY(QString planStretch READ planStretch NOTIFY planStretchChanged)

public:
    enum Line : int { Closed = VOXNetwork::Closed, Silent = VOXNetwork::Silent, Open = VOXNetwork::Open };
    Q_ENUM(Line)
    /// The group of all motors.
    enum Group : int { Everyone = VOXNetwork::Everyone };
    Q_ENUM(Group)

    explicit QmlNetwork(QObject *parent = nullptr);
    ~QmlNetwork() override;

    QString bus() const { return m_bus; }
    /// A text that names no bus stays, with the line closed and a problem that says why.
    void setBus(const QString &bus);
    Line line() const { return static_cast<Line>(m_network->line()); }
    QString lineProblem() const;
    bool isSending() const { return m_isSending; }
    void setSending(bool isSending);
    QString planStretch() const { return m_network->planStretch(); }

    /// Null between two buses.
    VOXNetwork *source() const { return m_source; }
    /// What pages get for @p node: a QmlMotor for a motor. Owned by this, and destroyed after the node.
    QmlNode *item(VOXNetworkNode *node);

    ///@{
    /// See VOXNetwork. Throws what cannot be.
    Q_INVOKABLE QmlNode *node(const QJSValue &addr);
    Q_INVOKABLE QmlMotor *motor(const QJSValue &addr);
    Q_INVOKABLE QmlNode *add(const QJSValue &addr);
    Q_INVOKABLE void remove(const QJSValue &addr);
    Q_INVOKABLE void discover();
    Q_INVOKABLE void discoverRange(const QJSValue &first, const QJSValue &last);
    Q_INVOKABLE VOXMotion *stopAll();
    Q_INVOKABLE void setGroup(const QJSValue &group, const QJSValue &members);
    Q_INVOKABLE VOXMotion *moveGroupTo(const QJSValue &group, const QJSValue &percent);
    Q_INVOKABLE VOXMotion *moveGroupUp(const QJSValue &group);
    Q_INVOKABLE VOXMotion *moveGroupDown(const QJSValue &group);
    Q_INVOKABLE VOXMotion *moveGroupToIntermediate(const QJSValue &group, const QJSValue &index);
    Q_INVOKABLE VOXMotion *stopGroup(const QJSValue &group);
    Q_INVOKABLE QJsonArray knownNodes() const;
    Q_INVOKABLE void setKnownNodes(const QJsonArray &nodes);
    /// Takes an object with some of positionMs, statusMs, settingsMs, movingMs; the others stay.
    Q_INVOKABLE void setPlan(const QJSValue &plan);
    ///@}

Q_SIGNALS:
    void busChanged();
    void lineChanged();
    void sendingChanged();
    void planStretchChanged();
    void nodeAdded(QmlNode *node);
    void nodeRemoved(uint address);
    void discovered(int count);
    void noticed(const QString &sentence);
    /// There is another source(), or none.
    void sourceChanged();

private:
    void setSource(VOXNetwork *source);
    void useNetwork(std::unique_ptr<VOXNetwork> network);

    QString m_bus;
    QString m_busProblem;
    bool m_isSending = true;
    VOXPollPlan m_plan;
    QHash<VOX::Addr, QVector<VOX::Addr>> m_groups;
    QHash<VOXNetworkNode *, QmlNode *> m_items;
    std::unique_ptr<VOXNetwork> m_network;
    VOXNetwork *m_source;
};

#endif
