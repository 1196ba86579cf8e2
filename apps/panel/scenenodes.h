#ifndef SCENENODES_H
#define SCENENODES_H

#include <QImage>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGRectangleNode>
#include <QSGTexture>

#include <memory>
#include <vector>

/// Something in a scene that may be there or not.
class Part
{
public:
    virtual ~Part() = default;

    /// Null while there is nothing to be drawn.
    virtual QSGNode *shown() const = 0;
};

/// The part of a scene that an item draws: what is not shown is no node, because each one costs time in each
/// frame.
class PartsNode : public QSGNode
{
public:
    /// From behind to the front. To be called when what is shown may have changed.
    void arrange(const std::vector<const Part *> &parts)
    {
        std::vector<QSGNode *> shown;
        for (const Part *const part : parts) {
            if (QSGNode *const node = part->shown())
                shown.push_back(node);
        }
        if (shown == m_shown)
            return;
        removeAllChildNodes();
        for (QSGNode *const node : shown)
            appendChildNode(node);
        m_shown = std::move(shown);
    }

private:
    std::vector<QSGNode *> m_shown;
};

/// A picture. Keeps its texture as long as the picture is the same.
class Picture : public Part
{
public:
    explicit Picture(QQuickWindow &window)
        : m_window(window)
    {
    }

    /// Shows the part @p source, in points, of @p image at @p target; nothing of a null image.
    void set(const QImage &image, const QRectF &target, const QRectF &source)
    {
        m_isShown = !image.isNull() && !target.isEmpty();
        if (!m_isShown)
            return;
        if (!m_node)
            makeNode();
        if (image.cacheKey() != m_key) {
            m_node->setTexture(m_window.createTextureFromImage(image, QQuickWindow::TextureHasAlphaChannel));
            m_key = image.cacheKey();
        }
        const double ratio = image.devicePixelRatio();
        m_node->setRect(target);
        m_node->setSourceRect(QRectF(source.topLeft() * ratio, source.size() * ratio));
    }

    QSGNode *shown() const override { return m_isShown ? m_node.get() : nullptr; }

private:
    void makeNode()
    {
        m_node.reset(m_window.createImageNode());
        m_node->setOwnsTexture(true);
        m_node->setFlag(QSGNode::OwnedByParent, false);
        m_node->setFiltering(QSGTexture::Nearest);
    }

    QQuickWindow &m_window;
    std::unique_ptr<QSGImageNode> m_node;
    qint64 m_key = 0;
    bool m_isShown = false;
};

/// A rectangle of one colour.
class Bar : public Part
{
public:
    explicit Bar(QQuickWindow &window)
        : m_window(window)
    {
    }

    /// Nothing if @p rect is empty.
    void set(const QRectF &rect, const QColor &colour)
    {
        m_isShown = !rect.isEmpty();
        if (!m_isShown)
            return;
        if (!m_node) {
            m_node.reset(m_window.createRectangleNode());
            m_node->setFlag(QSGNode::OwnedByParent, false);
        }
        m_node->setRect(rect);
        m_node->setColor(colour);
    }

    QSGNode *shown() const override { return m_isShown ? m_node.get() : nullptr; }

private:
    QQuickWindow &m_window;
    std::unique_ptr<QSGRectangleNode> m_node;
    bool m_isShown = false;
};

#endif
