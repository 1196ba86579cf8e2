#ifndef ANSWERCOMPARISON_H
#define ANSWERCOMPARISON_H

#include "vox/line/exchange.h"

#include <functional>

/// Compares the answers that requests get with those that the same requests got before.
class AnswerComparison
{
public:
    /// An answer that is not as it was.
    struct Difference
    {
        QString toString() const;
        QJsonObject toJson() const;
        bool isMissing() const { return is.data().isEmpty(); }

        LineItem request;
        unsigned int node;
        /// Without bytes if the node had not answered.
        VOXMessage was;
        /// Without bytes if it does not answer now.
        VOXMessage is;
    };

    explicit AnswerComparison(std::function<void(const Difference &)> found);

    /// The request of @p exchange, which has to stay, goes out next.
    void begin(const Exchange &exchange);
    /// A frame has come.
    void hear(const VOXMessage &frame);
    /// Whether answers are still to come.
    bool isWaiting() const { return !m_expected.empty(); }
    /// What has not come by now is missing.
    void end();

    int same() const { return m_same; }
    int different() const { return m_different; }
    int missing() const { return m_missing; }

private:
    void tell(const Exchange &exchange, unsigned int node, const VOXMessage &was, const VOXMessage &is);

    std::function<void(const Difference &)> m_found;
    const Exchange *m_exchange = nullptr;
    /// Answers beyond those that were expected may come when the next request is out.
    const Exchange *m_previous = nullptr;
    std::vector<LineItem> m_expected;
    int m_same = 0;
    int m_different = 0;
    int m_missing = 0;
};

#endif
