#ifndef VOX_NETWORK_VOXPOLLPLAN_H
#define VOX_NETWORK_VOXPOLLPLAN_H

#include <vox/network/network_export.h>

#include <QString>

/// How often a network asks its nodes. Times are in milliseconds; 0 is never.
///
/// A reading counts from when a node was last heard to tell it, whoever has asked. What does not fit the
/// line is stretched; see VOXNetwork::planStretch(). A value, from any thread.
/// @ingroup network
struct VOX_NETWORK_EXPORT VOXPollPlan
{
    ///@{
    /// The bounds of a time that is not 0.
    static constexpr int MinMs = 1000;
    static constexpr int MaxMs = 24 * 60 * 60 * 1000;
    ///@}

    int positionMs = 30000; ///< Where a motor at rest is.
    int statusMs = 120000; ///< The state of a motor at rest. Of other nodes, whether they are there.
    int settingsMs = 0; ///< Names, versions, limits and the like, besides once and after each change.
    int movingMs = 1000; ///< Where a moving motor is, if that fits the line. Not 0.

    /// Why there can be no such plan, in one line that names the value; empty if there can.
    QString problem() const;

    ///@{
    /// Compares all times.
    bool operator==(const VOXPollPlan &other) const;
    bool operator!=(const VOXPollPlan &other) const { return !(*this == other); }
    ///@}
};

#endif
