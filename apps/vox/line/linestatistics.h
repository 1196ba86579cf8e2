#ifndef LINESTATISTICS_H
#define LINESTATISTICS_H

#include "vox/line/lineitem.h"

#include <QMap>
#include <QStringList>

#include <vector>

/// What happens on a line, in numbers, and what that may mean.
///
/// Frames from the address that all hosts have are requests, frames to it answers.
class LineStatistics
{
public:
    void add(const LineItem &item);

    /// For people, a line a line.
    QStringList toText() const;
    QJsonObject toJson() const;

private:
    struct Node
    {
        std::vector<qint64> answerNs;
        int unanswered = 0;
        int surplus = 0;
        int failed = 0;
        QMap<QString, int> nacks;
        /// The request that waits for its answer.
        qint64 askedNs = 0;
        bool isWaiting = false;
        bool wasAsked = false;

        int lateAnswers() const;
        int lostRequests(qint64 nowNs) const;
        double answerMs(double share) const;
    };

    void addFrame(const LineItem &item);
    void addRequest(const LineItem &item);
    void addAnswer(const LineItem &item);
    double seconds() const;
    double load() const;
    QStringList hints() const;

    QMap<QString, Node> m_nodes;
    qint64 m_firstNs = 0;
    qint64 m_lastNs = 0;
    int m_frames = 0;
    int m_failed = 0;
    int m_garbageBytes = 0;
    qint64 m_bytes = 0;
    int m_echoes = 0;
    QByteArray m_lastBytes;
    qint64 m_lastBytesNs = 0;
};

#endif
