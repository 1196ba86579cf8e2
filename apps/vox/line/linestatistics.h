#ifndef LINESTATISTICS_H
#define LINESTATISTICS_H

#include "vox/line/lineitem.h"
#include "vox/line/porterrors.h"

#include <QMap>
#include <QStringList>

#include <vector>

/// Counts what happens on a line, and hints at what that may mean.
///
/// Frames from the address that all hosts have are requests, frames to it answers.
class LineStatistics
{
public:
    void add(const LineItem &item);
    /// Listening has begun, or goes on, at @p timeNs. Without it, time runs from the first frame to the last.
    void setTime(qint64 timeNs);
    /// Sets the bit rate of the line; it is 4800 without this.
    void setRate(int bitsPerSecond) { m_rate = bitsPerSecond; }
    /// The line is a serial port whose driver has counted this so far, or counts nothing.
    void setPortErrors(const std::optional<PortErrors> &errors);
    /// Leaves out the load, because there is no line whose bytes take time.
    void leaveOutLoad() { m_hasLoad = false; }

    /// The report for people, a string for each line.
    QStringList toText() const;
    QJsonObject toJson() const;

private:
    struct Request
    {
        qint64 timeNs;
        int answerCmd;
    };
    /// The last request to all, or to a group. It may have been sent several times in a row.
    struct SharedRequest
    {
        qint64 firstNs = 0;
        qint64 lastNs = 0;
        int answerCmd = -1;
        int count = 0;
    };
    struct Node
    {
        std::vector<qint64> answerNs;
        int unanswered = 0;
        int surplus = 0;
        int failed = 0;
        QMap<QString, int> nacks;
        /// The requests that wait for their answers, in the order of time.
        std::vector<Request> open;
        Request lastAnswered = {0, -1};
        /// The request to all that the node has answered, by the time at which it was first sent; then how
        /// often.
        qint64 sharedNs = 0;
        int sharedAnswers = 0;

        int lateAnswers() const;
        int lostRequests(qint64 nowNs) const;
        double answerMs(double share) const;
    };

    void addFrame(const LineItem &item);
    void addRequest(const LineItem &item);
    void addSharedRequest(const LineItem &item);
    void addAnswer(const LineItem &item);
    bool isSurplus(Node &node, const LineItem &item) const;
    double seconds() const;
    double load() const;
    QStringList hints() const;

    QMap<QString, Node> m_nodes;
    qint64 m_firstNs = 0;
    qint64 m_lastNs = 0;
    SharedRequest m_shared;
    bool m_isLive = false;
    bool m_hasLoad = true;
    double m_rate = 4800;
    bool m_isPort = false;
    std::optional<PortErrors> m_portErrors;
    int m_frames = 0;
    int m_failed = 0;
    int m_garbageBytes = 0;
    qint64 m_bytes = 0;
    int m_echoes = 0;
    QByteArray m_lastBytes;
    qint64 m_lastBytesNs = 0;
};

#endif
