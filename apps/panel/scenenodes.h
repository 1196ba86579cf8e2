#ifndef SCENENODES_H
#define SCENENODES_H

#include <QImage>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGRectangleNode>
#include <QSGTexture>

#include <memory>

/// A picture among the nodes of a scene. Keeps its texture as long as the picture is the same.
class Picture
{
public:
    Picture(QQuickWindow &window, QSGNode &parent)
        : m_window(window)
        , m_parent(parent)
    {
    }

    /// Shows the part @p source, in points, of @p image at @p target; nothing of a null image.
    void set(const QImage &image, const QRectF &target, const QRectF &source)
    {
        if (image.isNull() || target.isEmpty()) {
            if (m_isShown)
                m_parent.removeChildNode(m_node.get());
            m_isShown = false;
            return;
        }
        if (!m_node)
            makeNode();
        if (image.cacheKey() != m_key) {
            m_node->setTexture(m_window.createTextureFromImage(image, QQuickWindow::TextureHasAlphaChannel));
            m_key = image.cacheKey();
        }
        const double ratio = image.devicePixelRatio();
        m_node->setRect(target);
        m_node->setSourceRect(QRectF(source.topLeft() * ratio, source.size() * ratio));
        if (!m_isShown)
            m_parent.appendChildNode(m_node.get());
        m_isShown = true;
    }

private:
    void makeNode()
    {
        m_node.reset(m_window.createImageNode());
        m_node->setOwnsTexture(true);
        m_node->setFlag(QSGNode::OwnedByParent, false);
        m_node->setFiltering(QSGTexture::Nearest);
    }

    QQuickWindow &m_window;
    QSGNode &m_parent;
    std::unique_ptr<QSGImageNode> m_node;
    qint64 m_key = 0;
    bool m_isShown = false;
};

/// A rectangle among the nodes of a scene.
class Bar
{
public:
    Bar(QQuickWindow &window, QSGNode &parent)
        : m_node(window.createRectangleNode())
    {
        m_node->setFlag(QSGNode::OwnedByParent, false);
        parent.appendChildNode(m_node.get());
    }

    void set(const QRectF &rect, const QColor &colour)
    {
        m_node->setRect(rect);
        m_node->setColor(colour);
    }

private:
    const std::unique_ptr<QSGRectangleNode> m_node;
};

#endif
