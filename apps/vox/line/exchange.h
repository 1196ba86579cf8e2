#ifndef EXCHANGE_H
#define EXCHANGE_H

#include "vox/line/lineitem.h"

#include <vector>

/// A request of a host, and what the nodes have answered.
struct Exchange
{
    /// The requests among @p items, with their answers. Frames of nodes that nobody has asked for are left
    /// out.
    static std::vector<Exchange> of(const std::vector<LineItem> &items);

    /// Whether @p frame, which has come after the request, may be an answer to it.
    bool isAnswer(const VOXMessage &frame) const;

    LineItem request;
    std::vector<LineItem> answers;
    /// Something damaged came before the next request: it may have been an answer.
    bool isSpoilt = false;
};

#endif
