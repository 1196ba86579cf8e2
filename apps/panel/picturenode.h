#ifndef PICTURENODE_H
#define PICTURENODE_H

#include <QImage>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGTexture>

/// What an item draws as one picture: @p image at @p rect. @p old is what it has returned last, or null. A
/// renderer without a GPU works out for each node of a scene whether it is to be drawn again, so few nodes
/// make fast frames.
inline QSGNode *pictureNode(QSGNode *old, QQuickWindow &window, const QImage &image, const QRectF &rect)
{
    auto *node = static_cast<QSGImageNode *>(old);
    if (!node) {
        node = window.createImageNode();
        node->setOwnsTexture(true);
        node->setFiltering(QSGTexture::Nearest);
    }
    QQuickWindow::CreateTextureOptions options = QQuickWindow::TextureHasAlphaChannel;
    options |= QQuickWindow::TextureCanUseAtlas;
    node->setTexture(window.createTextureFromImage(image, options));
    node->setRect(rect);
    node->setSourceRect(QRectF(QPointF(), image.size()));
    return node;
}

#endif
