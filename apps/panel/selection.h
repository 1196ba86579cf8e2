#ifndef SELECTION_H
#define SELECTION_H

#include "panel/shademodel.h"

#include <QPointer>

class VOXMotion;

/// The shades that a person has chosen, and what they are told together.
class Selection : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY changed)
    Q_PROPERTY(QObject *only READ only NOTIFY changed)
    Q_PROPERTY(QObject *onlyLine READ onlyLine NOTIFY changed)
    Q_PROPERTY(QString way READ way NOTIFY changed)
    Q_PROPERTY(QVariantList refusals READ refusals NOTIFY refusalsChanged)

public:
    /// @p model outlives this.
    explicit Selection(const ShadeModel &model, QObject *parent = nullptr);

    int count() const { return static_cast<int>(m_nodes.size()); }
    bool contains(const VOXNetworkNode *node) const
    {
        return m_nodes.contains(const_cast<VOXNetworkNode *>(node));
    }
    /// The node if it is one; else null.
    QObject *only() const;
    QObject *onlyLine() const;
    /// How a command to all of them goes: "one group frame, A00001".
    QString way() const;
    /// What nodes have refused lately: objects with "node", "sentence" and "seconds".
    QVariantList refusals() const { return m_refusals; }

    /// Where those are that have told it, in percent from the top.
    Q_INVOKABLE QVariantList percents() const;

    /// Looks at all of them again.
    void tellAll();
    void set(const QVector<VOXNetworkNode *> &nodes);
    Q_INVOKABLE void choose(QObject *node);
    Q_INVOKABLE void toggle(QObject *node);
    Q_INVOKABLE void clear();

    ///@{
    /// Tells all of them, by group frames where groups fit. Nothing happens if there are none.
    Q_INVOKABLE void moveTo(int percent);
    Q_INVOKABLE void moveUp();
    Q_INVOKABLE void moveDown();
    Q_INVOKABLE void stop();
    Q_INVOKABLE void wink();
    Q_INVOKABLE void unlock();
    Q_INVOKABLE void refresh();
    Q_INVOKABLE void setLabel(const QString &label);
    ///@}

Q_SIGNALS:
    void changed();
    /// A node of these has told something, or time has passed.
    void told();
    void refusalsChanged();

private:
    using GroupCommand = std::function<void(VOXNetwork &network, VOX::Addr group)>;
    using MotorCommand = std::function<void(VOXNetworkMotor &motor)>;

    void tell(const GroupCommand &group, const MotorCommand &single);
    void tellEach(const MotorCommand &command);
    void dropGone();
    QVariantList makeRefusals() const;
    QVector<VOX::Addr> nodesOf(const PanelLine &line, bool isChosen) const;
    QVector<PanelLine *> lines() const;

    const ShadeModel &m_model;
    QVector<VOXNetworkNode *> m_nodes;
    QVariantList m_refusals;
};

#endif
