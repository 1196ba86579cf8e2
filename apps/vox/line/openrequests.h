#ifndef OPENREQUESTS_H
#define OPENREQUESTS_H

#include "vox/line/lineitem.h"

#include <vector>

/// The requests to one node that may still be answered, and which answer is whose.
///
/// A request that was repeated makes that ambiguous. If as many answers come as there were requests, the
/// oldest goes first: they were late. Else an answer is that of the newest request, and each older one has
/// been answered late, or is lost.
class OpenRequests
{
public:
    /// The time for which a host waits for an answer by default.
    static constexpr qint64 TimeoutNs = 200000000;
    /// After this time an answer does not come any more.
    static constexpr qint64 LostNs = 2000000000;

    /// What has become of a request.
    struct Settled
    {
        LineItem request;
        /// From the end of the request to that of the answer; -1 if none came.
        qint64 answerNs = -1;
        /// Whether an answer that counts as that of its repetition may have been its own.
        bool isAmbiguous = false;
    };
    using Outcome = std::vector<Settled>;

    /// Whether a frame with @p cmd may answer a request whose own answer is @p answerCmd.
    static bool isAnswer(int cmd, int answerCmd);

    Outcome add(const LineItem &request, int answerCmd);
    /// The request that @p answer answers as far as is known yet; null if there is none. Valid until the next
    /// call. Adds what is settled by it to @p outcome.
    const LineItem *answer(const LineItem &answer, Outcome *outcome);
    /// The answer to the newest request came damaged.
    void spoil();
    /// Settles the requests that nobody answers any more at @p nowNs.
    Outcome expire(qint64 nowNs);
    /// Settles all requests for which hosts do not wait any more at @p nowNs.
    Outcome close(qint64 nowNs);

private:
    struct Request
    {
        LineItem item;
        int answerCmd;
        /// When the answer came that counts as its own for now; -1 without one.
        qint64 answeredNs = -1;
        bool isSpoilt = false;
    };

    bool isOneAnswered(int answerCmd) const;
    void settleFirst(Outcome *outcome);
    void settleAnswered(int answerCmd, Outcome *outcome);
    void settleAll(int answerCmd, Outcome *outcome);
    Settled settled(const Request &request) const;

    // In the order of time.
    std::vector<Request> m_open;
    LineItem m_answered;
};

#endif
