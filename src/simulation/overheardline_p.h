#ifndef VOX_SIMULATION_OVERHEARDLINE_P_H
#define VOX_SIMULATION_OVERHEARDLINE_P_H

#include <vox/simulation/noderecord_p.h>

#include <QStringList>

#include <vector>

/// What a line tells to one who only listens: pairs the requests of hosts with the answers of nodes.
class OverheardLine
{
public:
    /// Takes the next frame. What it teaches of a node is noted in @p records.
    void hear(const VOXMessage &frame, double timeMs, QMap<VOX::Addr, NodeRecord> *records);

    /// How nodes were slow or silent, in the words of VOXFault.
    QStringList faults(const QMap<VOX::Addr, NodeRecord> &records) const;

private:
    struct Request
    {
        VOXMessage frame;
        double timeMs;
    };
    struct Node
    {
        /// Those that may still be answered, the oldest first.
        std::vector<Request> open;
        std::vector<double> answerTimes;
        /// Those that nobody has answered.
        std::vector<VOXMessage> lost;
    };
    void addRequest(const VOXMessage &frame, double timeMs, QMap<VOX::Addr, NodeRecord> *records);
    void addAnswer(const VOXMessage &frame, double timeMs, NodeRecord *record);

    QMap<VOX::Addr, Node> m_nodes;
    /// The last request, which an adapter may hear itself.
    Request m_last = {VOXMessage(), 0};
};

#endif
