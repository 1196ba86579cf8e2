#ifndef LINESTATISTICS_H
#define LINESTATISTICS_H

#include "vox/line/lineitem.h"
#include "vox/line/linerests.h"
#include "vox/line/nodestatistics.h"
#include "vox/line/porterrors.h"

#include <QMap>

#include <deque>
#include <optional>
#include <vector>

/// What a request, or a frame that may answer one, has turned out to be.
struct LineNote
{
    enum Kind {
        /// The frame that has just come answers the request, as far as is known yet.
        Answered,
        /// The request has its answer, and that came when hosts have given up.
        Late,
        /// The request has no answer, or that of its repetition was its own, and late.
        LateOrLost,
        Unanswered,
        /// The frame that has just come is an answer beyond the first one.
        Surplus,
        /// Nobody has asked for the frame that has just come.
        Unasked,
        /// What has just come is damaged, and stands where the answer to the request was to come.
        Damaged,
        /// The request came twice, back to back.
        Twice,
        /// The request began while another one, to another node, waited for its answer.
        Clash
    };

    Kind kind;
    /// The address of the node that was asked, or that has sent it.
    unsigned int node;
    /// Without bytes for Surplus and Unasked.
    LineItem request;
    /// Nanoseconds from the request to the answer; -1 without one.
    qint64 answerNs = -1;
};
using LineNotes = std::vector<LineNote>;

/// Counts what happens on a line, in all and by node: a value that is given what comes, and prints nothing.
///
/// Frames from the address that all hosts have are requests, frames to it answers. Keeps as much as is needed
/// of MaxNodes nodes at most, however long it listens. Of more, it forgets those that it knows least of.
class LineStatistics
{
public:
    static constexpr int MaxNodes = 4096;

    enum View {
        /// A line on which one speaks at a time.
        Line,
        /// Datagrams, all of which are seen; they take no time.
        Network,
        /// Datagrams of one direction.
        OneWay
    };

    struct Totals
    {
        int frames = 0;
        qint64 bytes = 0;
        /// Frames whose check failed.
        int failed = 0;
        int garbageBytes = 0;
        /// How often zero bytes came, and the most that came at once.
        int breaks = 0;
        int longestBreak = 0;
        /// Pieces of the line without a good frame in between, or a pause, in which something was damaged.
        /// Not where many were asked at once: their answers overlap on a line that is in order.
        int damages = 0;
        /// Requests from a host, also to groups and to all; each once that came twice, back to back.
        int requests = 0;
        int echoes = 0;
        int clashes = 0;
        /// Nodes that were forgotten because there were too many.
        int forgotten = 0;

        int goodFrames() const { return frames - failed; }
    };

    void setView(View view) { m_view = view; }
    /// Sets the view of a capture, which does not tell where it was made: on a line, frames take the time of
    /// their bytes.
    void setViewOf(const std::vector<LineItem> &items);
    View view() const { return m_view; }
    /// Sets the bit rate of the line; it is 4800 without this.
    void setRate(int bitsPerSecond) { m_rate = bitsPerSecond; }
    /// The line is a serial port whose driver has counted this so far, or counts nothing.
    void setPortErrors(const std::optional<PortErrors> &errors);
    bool isPort() const { return m_isPort; }
    const std::optional<PortErrors> &portErrors() const { return m_portErrors; }

    /// Takes what has come over the line. Gives what is known by that, which may be about earlier requests.
    LineNotes add(const LineItem &item);
    /// Listening has begun, or goes on, at @p timeNs. Without it, time runs from the first frame to the last.
    /// Gives the requests of which it is now clear that nobody answers them.
    LineNotes setTime(qint64 timeNs);
    /// Nothing comes any more: settles all requests for which hosts do not wait any more.
    LineNotes close();

    const Totals &totals() const { return m_totals; }
    const LineRests &rests() const { return m_rests; }
    /// By address, with all requests settled for which hosts do not wait any more.
    QMap<unsigned int, NodeStatistics> nodes() const;
    /// The time that has passed, at least a millisecond.
    double seconds() const;
    /// How much of that time bytes have taken on a line, in percent. Nothing on a network, nor if more came
    /// than a line of this rate takes: a capture does not tell where it was made.
    std::optional<double> load() const;

private:
    /// The last request to all, or to a group. It may have been sent several times in a row.
    struct SharedRequest
    {
        qint64 firstNs = 0;
        qint64 lastNs = 0;
        int answerCmd = -1;
        int count = 0;
    };
    /// The last request to a single node.
    struct Asked
    {
        unsigned int node = 0;
        LineItem request;
        bool isOpen = false;
        /// Whether the one before was answered in time.
        bool isSound = true;
        bool isAnswered = true;
    };
    struct Due
    {
        qint64 timeNs;
        unsigned int node;
    };

    qint64 lineNs(qint64 bytes) const;
    void addDamage(const LineItem &item, LineNotes *notes);
    void addFrame(const LineItem &item, LineNotes *notes);
    void addRequest(const LineItem &item, LineNotes *notes);
    void addSharedRequest(const LineItem &item);
    void addFromNode(const LineItem &item, LineNotes *notes);
    bool isOfShared(const LineItem &answer) const;
    bool isSurplus(NodeStatistics &node) const;
    static bool isSecond(const NodeStatistics &node, const LineItem &answer);
    bool isTwice(const LineItem &item) const;
    void settle(unsigned int addr, const OpenRequests::Outcome &outcome, LineNotes *notes);
    void expire(qint64 nowNs, LineNotes *notes);
    NodeStatistics &node(unsigned int addr);
    void forgetSome();

    View m_view = Line;
    int m_rate = 4800;
    bool m_isPort = false;
    std::optional<PortErrors> m_portErrors;
    Totals m_totals;
    LineRests m_rests;
    QMap<unsigned int, NodeStatistics> m_nodes;
    // When requests will be lost, in the order of time.
    std::deque<Due> m_due;
    qint64 m_firstNs = 0;
    qint64 m_lastNs = 0;
    bool m_isLive = false;
    SharedRequest m_shared;
    Asked m_asked;
    LineItem m_last;
    // When something damaged came last; -1 if a good frame has come since.
    qint64 m_damagedNs = -1;
    // Whether that was a break.
    bool m_isLow = false;
};

#endif
