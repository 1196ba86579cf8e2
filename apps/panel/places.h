#ifndef PLACES_H
#define PLACES_H

#include "panel/panelline.h"

#include <QHash>
#include <QPointF>
#include <QSet>
#include <QSize>
#include <QUrl>

#include <optional>
#include <vector>

/// What a person has arranged: the picture behind the shades, where each stands on it, and which were
/// checked. Kept in a file of its own, under the name of the line and the address.
class Places : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QUrl picture READ picture NOTIFY changed)
    Q_PROPERTY(QString pictureName READ pictureName WRITE setPictureName NOTIFY changed)
    Q_PROPERTY(QString problem READ problem NOTIFY changed)
    Q_PROPERTY(bool canUndo READ canUndo NOTIFY changed)
    Q_PROPERTY(bool any READ hasAny NOTIFY changed)

public:
    using QObject::QObject;

    /// Where the places of @p config are kept if nobody says otherwise.
    static QString fileNameFor(const QString &config);
    static QString keyOf(const PanelLine &line, VOX::Addr addr);

    /// Reads @p fileName, and keeps it up to date. One that is not there yet is empty.
    void open(const QString &fileName);

    /// For QML; see Backdrop. Empty if there is none, or it cannot be shown.
    QUrl picture() const;
    /// In its own pixels; empty if there is none.
    QSize pictureSize() const { return m_pictureSize; }
    QString pictureName() const { return m_pictureName; }
    /// A PNG, JPEG or SVG file; an empty name takes the picture away.
    void setPictureName(const QString &name);
    /// What could not be read or written, and what to do.
    QString problem() const { return m_problem; }

    /// In 0 to 1 of the picture.
    std::optional<QPointF> place(const QString &key) const;
    void setPlace(const QString &key, const QPointF &place);
    bool hasAny() const { return !m_places.isEmpty(); }
    bool canUndo() const { return !m_undo.empty(); }
    Q_INVOKABLE void undo();

    bool isChecked(const QString &key) const { return m_checked.contains(key); }
    void setChecked(const QString &key, bool isChecked);
    int checkedCount() const { return static_cast<int>(m_checked.size()); }

Q_SIGNALS:
    void changed();

private:
    struct Step
    {
        QString key;
        std::optional<QPointF> before;
    };

    void save();
    QString pictureFile() const;
    void readPicture();

    QString m_fileName;
    QString m_pictureName;
    QSize m_pictureSize;
    QString m_problem;
    QHash<QString, QPointF> m_places;
    QSet<QString> m_checked;
    std::vector<Step> m_undo;
};

#endif
