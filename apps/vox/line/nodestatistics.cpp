#include "vox/line/nodestatistics.h"

void NodeStatistics::add(const OpenRequests::Outcome &outcome)
{
    for (const OpenRequests::Settled &settled : outcome) {
        if (settled.answerNs < 0) {
            ++unanswered;
            lateOrLost += settled.isAmbiguous ? 1 : 0;
            continue;
        }
        times.add(settled.answerNs);
        late += settled.answerNs > OpenRequests::TimeoutNs ? 1 : 0;
    }
}
