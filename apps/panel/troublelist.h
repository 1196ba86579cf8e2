#ifndef TROUBLELIST_H
#define TROUBLELIST_H

#include "panel/shademodel.h"

#include <QAbstractListModel>

/// What is wrong, with what to do about it, the worst first.
struct Trouble
{
    enum Kind : int { Line, Dead, Doubled, Noticed, NoLimits, Slow, Noisy, Stretched };

    /// All that is wrong with a line; if the line itself is silent, that alone.
    static QVector<Trouble> of(PanelLine &line);

    bool isBad() const { return kind <= Doubled; }
    /// Whether it stands for the same, though its words may be others.
    bool isSame(const Trouble &other) const
    {
        return kind == other.kind && line == other.line && node == other.node;
    }

    Kind kind = Line;
    QString title;
    QString text;
    PanelLine *line = nullptr;
    VOXNetworkNode *node = nullptr;
};

/// The troubles of all lines as rows. Read anew twice a second while somebody has told something.
class TroubleList : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ rowCount NOTIFY updated)
    Q_PROPERTY(QString summary READ summary NOTIFY updated)

public:
    enum Role : int { KindRole = Qt::UserRole, BadRole, TitleRole, TextRole, NodeRole };

    /// @p model and @p lines outlive this.
    TroubleList(const ShadeModel &model, const QVector<PanelLine *> &lines, QObject *parent = nullptr);

    /// "60 of 60 answer, median 21 ms".
    QString summary() const { return m_summary; }
    const QVector<Trouble> &rows() const { return m_rows; }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    /// Reads all anew.
    void update();

Q_SIGNALS:
    void updated();

private:
    void forget();
    QString makeSummary() const;

    const ShadeModel &m_model;
    const QVector<PanelLine *> &m_lines;
    QVector<Trouble> m_rows;
    QString m_summary;
};

#endif
