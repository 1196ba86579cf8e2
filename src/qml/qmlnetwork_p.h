#ifndef VOX_QML_QMLNETWORK_P_H
#define VOX_QML_QMLNETWORK_P_H

#include <vox/network/voxnetwork.h>
#include <vox/qml/qmlmotor_p.h>

#include <QHash>

/// A VOXNetwork for pages: its own, on the bus that a URL names, or one that C++ has made.
///
/// Another bus is another network: the nodes of the one before go. What the page has set stays.
class QmlNetwork : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(Network)
    Q_PROPERTY(QString bus READ bus WRITE setBus NOTIFY busChanged)
    Q_PROPERTY(VOXNetwork *source READ source WRITE setSource NOTIFY sourceChanged)
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
    VOXNetwork *source() const { return m_source; }
    /// While there is a source, the bus says nothing. Somebody else owns it; null, also once it has been
    /// destroyed, goes back to the bus.
    void setSource(VOXNetwork *source);
    Line line() const { return static_cast<Line>(m_network->line()); }
    QString lineProblem() const;
    bool isSending() const { return m_network->isSending(); }
    void setSending(bool isSending);
    QString planStretch() const { return m_network->planStretch(); }

    /// Null between two networks.
    VOXNetwork *shown() const { return m_shown; }
    /// What pages get for @p node: a QmlMotor for a motor. Owned by this, and by the pages that hold it once
    /// the node has gone.
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
    void sourceChanged();
    /// There is another shown(), or none.
    void shownChanged();

private:
    void useBus();
    ///@{
    /// False if the page has chosen another one meanwhile.
    bool useOwn(std::unique_ptr<VOXNetwork> network);
    bool use(VOXNetwork *network);
    ///@}
    void show(VOXNetwork *network);
    void letGo(const VOXNetwork *next);
    void release(QmlNode *item);
    void handleSourceGone();

    QString m_bus;
    QString m_busProblem;
    // What the page has set, for the next network of its own.
    bool m_isSending = true;
    VOXPollPlan m_plan;
    QHash<VOX::Addr, QVector<VOX::Addr>> m_groups;
    QHash<VOXNetworkNode *, QmlNode *> m_items;
    QPointer<VOXNetwork> m_source;
    std::unique_ptr<VOXNetwork> m_own;
    VOXNetwork *m_network;
    VOXNetwork *m_shown;
};

#endif
