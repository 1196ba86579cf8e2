#ifndef FRAMELIST_H
#define FRAMELIST_H

#include <QAbstractListModel>
#include <QBasicTimer>
#include <QStringList>

#include <deque>
#include <vector>

/// The last frames of a line as rows, the newest last, that match a filter. Changes five times a second at
/// most.
class FrameList : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)
    Q_PROPERTY(int total READ total NOTIFY countChanged)

public:
    enum Role : int { TextRole = Qt::UserRole, BadRole };
    /// More frames are forgotten, the oldest first.
    static constexpr int MostFrames = 20000;

    explicit FrameList(QObject *parent = nullptr);

    /// @p bytes are in line form, the time is in nanoseconds since 1970.
    void add(const QByteArray &bytes, qint64 timeNs);
    void clear();

    /// Words that a frame must all have, in any order; all frames if it is empty.
    QString filter() const { return m_filter; }
    void setFilter(const QString &filter);
    int total() const { return static_cast<int>(m_frames.size()); }
    QString lastFrame() const;

    /// Writes the frames that are shown as a capture, into a new file. What has happened, as a sentence.
    Q_INVOKABLE QString save(const QString &fileName) const;
    /// A file name for save(), in the user's folder.
    Q_INVOKABLE static QString nameFor(const QString &line);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void filterChanged();
    void countChanged();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    struct Frame
    {
        qint64 timeNs;
        QByteArray bytes;
        QString text;
        bool isBad;
    };

    bool isMatch(const Frame &frame) const;
    void takeNew();

    std::deque<Frame> m_frames;
    /// Numbers, from the first frame ever.
    std::deque<qint64> m_rows;
    qint64 m_firstNumber = 0;
    qint64 m_nextNumber = 0;
    /// Not shown yet.
    std::vector<Frame> m_new;
    QString m_filter;
    QStringList m_words;
    QBasicTimer m_timer;
};

#endif
