#ifndef SHADEITEM_H
#define SHADEITEM_H

#include "panel/shadelook.h"
#include "panel/shademotion.h"
#include "panel/shadepainter.h"

#include <QPointer>
#include <QQuickItem>

class VOXNetworkMotor;
class VOXNetworkNode;

/// One shade of the façade: a window with cloth as high as the motor has told. Keeps nothing of the node:
/// what it draws it reads from it.
class ShadeItem : public QQuickItem
{
    Q_OBJECT
    Q_PROPERTY(QObject *node READ nodeObject WRITE setNodeObject NOTIFY nodeChanged)
    Q_PROPERTY(QString facade READ facade WRITE setFacade NOTIFY placeChanged)
    Q_PROPERTY(QString key MEMBER m_key NOTIFY placeChanged)
    Q_PROPERTY(bool lineOpen READ isLineOpen WRITE setLineOpen NOTIFY lookChanged)
    Q_PROPERTY(bool dark READ isDark WRITE setDark NOTIFY lookChanged)
    Q_PROPERTY(bool selected READ isSelected WRITE setSelected NOTIFY lookChanged)
    Q_PROPERTY(bool current READ isCurrent WRITE setCurrent NOTIFY lookChanged)
    Q_PROPERTY(bool hovered READ isHovered NOTIFY lookChanged)
    Q_PROPERTY(QString label READ label NOTIFY lookChanged)
    Q_PROPERTY(QString shortLabel READ shortLabel NOTIFY lookChanged)
    Q_PROPERTY(QString value READ value NOTIFY valueChanged)
    Q_PROPERTY(QString words READ words NOTIFY lookChanged)
    Q_PROPERTY(double windowBottom READ windowBottom NOTIFY sizeChanged)
    Q_PROPERTY(bool shaky READ isShaky NOTIFY lookChanged)
    Q_PROPERTY(bool dead READ isDead NOTIFY lookChanged)

public:
    explicit ShadeItem(QQuickItem *parent = nullptr);

    VOXNetworkNode *node() const { return m_node; }
    QObject *nodeObject() const;
    void setNodeObject(QObject *node);
    /// Under which its place is kept.
    QString key() const { return m_key; }
    QString facade() const { return m_facade; }
    void setFacade(const QString &facade);
    bool isLineOpen() const { return m_isLineOpen; }
    void setLineOpen(bool isOpen);
    bool isDark() const { return m_isDark; }
    void setDark(bool isDark);
    bool isSelected() const { return m_isSelected; }
    void setSelected(bool isSelected);
    bool isCurrent() const { return m_isCurrent; }
    void setCurrent(bool isCurrent);
    bool isHovered() const { return m_isHovered; }
    void setHovered(bool isHovered);

    /// The node's name, or the end of its address.
    QString label() const;
    /// "3.08" of "3.08 Office".
    QString shortLabel() const;
    /// In percent from the top: "44" as read, and "≈44" as estimated.
    QString value() const { return m_value; }
    /// All that the picture says.
    QString words() const;
    double windowBottom() const;
    bool isShaky() const { return m_look.isShaky; }
    bool isDead() const { return m_look.state == ShadeLook::Dead; }
    const ShadeLook &look() const { return m_look; }

    /// Takes what the node has told. What changes with time alone is up to advance().
    void refresh();
    /// Whether advance() has something to do.
    bool isInMotion() const { return m_isInMotion; }
    /// Draws the motion as it is @p nowMs; false once nothing moves any more.
    bool advance(qint64 nowMs);
    /// Milliseconds of the clock that all shades go by.
    static qint64 nowMs();

Q_SIGNALS:
    void nodeChanged();
    void sizeChanged();
    /// Its façade or its label are others.
    void placeChanged();
    void lookChanged();
    /// It is dead, or no longer.
    void troubleChanged();
    void valueChanged();
    /// advance() is to be called from now on.
    void motionBegun();

protected:
    QSGNode *updatePaintNode(QSGNode *old, UpdatePaintNodeData *data) override;
#if QT_VERSION_MAJOR >= 6
    void geometryChange(const QRectF &now, const QRectF &before) override;
#else
    void geometryChanged(const QRectF &now, const QRectF &before) override;
#endif

private:
    VOXNetworkMotor *motor() const;
    ShadePainter painter() const;
    void setMark(bool &mark, bool value);
    void noteNews();
    void handleGeometry(const QRectF &now, const QRectF &before);
    void updateEstimate(qint64 nowMs);
    void updateValue();

    QPointer<VOXNetworkNode> m_node;
    ShadeLook m_look;
    ShadeMotion m_motion;
    int m_extent = 0;
    bool m_hasRing = false;
    qint64 m_captionMs = 0;
    bool m_isInMotion = false;
    bool m_hasNews = false;
    QString m_facade;
    QString m_key;
    QString m_shownLabel;
    bool m_isLineOpen = true;
    bool m_isDark = false;
    bool m_isSelected = false;
    bool m_isCurrent = false;
    bool m_isHovered = false;
    QString m_value;
};

#endif
