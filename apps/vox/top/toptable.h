#ifndef TOPTABLE_H
#define TOPTABLE_H

#include "network/voxnetwork.h"
#include "vox/line/answertimes.h"
#include "vox/line/linestatistics.h"

#include <QMap>

#include <optional>

/// A node as top shows it.
struct TopRow
{
    enum Mark { Good, Moving, Warning, Bad };

    int lost() const { return unanswered + damaged; }
    QString address() const { return VOX::toString(addr); }
    /// A line for a table of so many columns.
    QString toString(int columns) const;
    /// The heading above such lines.
    static QString heading(int columns);
    QJsonObject toJson() const;
    /// Whether another row says anything else but that more answers have come.
    bool isNews(const TopRow &other) const;

    VOX::Addr addr = 0;
    QString label;
    std::optional<int> percent;
    std::optional<int> target;
    /// One word: what the motor does, or what is wrong with the node; empty while nothing is known.
    QString state;
    Mark mark = Good;
    /// What has become of requests to it.
    int answers = 0;
    int unanswered = 0;
    /// Nothing but damage has come for an answer.
    int damaged = 0;
    int late = 0;
    double medianMs = -1;
    /// The last refusal of a command, and its time in nanoseconds since 1970.
    QString refusal;
    qint64 refusedNs = 0;
    /// Since when it is silent, or its answers are damaged; 0 if neither.
    qint64 badSinceNs = 0;
};

/// What is known of the nodes of a line: their values from a network, and the fate of all requests from what
/// is heard.
class TopTable
{
public:
    /// @p network must outlive it.
    explicit TopTable(VOXNetwork &network)
        : m_network(network)
    {
    }

    void take(const LineItem &item);
    /// Time has passed.
    void setTime(qint64 nowNs);

    /// By address.
    QVector<TopRow> rows() const;
    const LineStatistics::Totals &totals() const { return m_statistics.totals(); }

private:
    /// What has become of the requests to a node.
    struct Tally
    {
        int answers = 0;
        int unanswered = 0;
        int damaged = 0;
        int late = 0;
        AnswerTimes times;
        /// Requests without an answer since the last answer, whether the last of them was answered badly, and
        /// when the first of them was sent.
        int failures = 0;
        bool isDamaged = false;
        /// The times of requests with a damaged answer, which are told once more as unanswered.
        QVector<qint64> damagedNs;
        qint64 failingSinceNs = 0;
        qint64 failedNs = 0;
        QString refusal;
        qint64 refusedNs = 0;
    };

    void take(const LineNotes &notes);
    void takeFailure(const LineNote &note);
    void takeRefusal(const LineItem &item, const LineNotes &notes);
    TopRow rowOf(const VOXNetworkNode &node) const;
    void judge(const VOXNetworkNode &node, const Tally &tally, TopRow *row) const;

    VOXNetwork &m_network;
    LineStatistics m_statistics;
    QMap<VOX::Addr, Tally> m_tallies;
    qint64 m_nowNs = 0;
};

#endif
