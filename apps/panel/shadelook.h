#ifndef SHADELOOK_H
#define SHADELOOK_H

#include <QCoreApplication>
#include <QString>

class VOXNetworkNode;

/// How a shade is shown: what its node has told, in the words of the picture.
struct ShadeLook
{
    Q_DECLARE_TR_FUNCTIONS(ShadeLook)

public:
    enum State : int {
        NotAsked, ///< Nothing is known yet.
        Unknown, ///< It answers, but not where it is: it has no limits.
        Known,
        Dead,
        Offline ///< The whole line is silent: where it was last, under a hatch.
    };
    enum Kind : int { Blind, Curtain, Slats };
    enum Motion : int { Resting, Up, Down };

    /// A refusal is shown for as long.
    static constexpr int RefusedMs = 60000;

    static ShadeLook of(const VOXNetworkNode &node, bool isLineOpen);

    bool operator==(const ShadeLook &other) const;
    bool operator!=(const ShadeLook &other) const { return !(*this == other); }
    /// Whether it shows cloth.
    bool hasCloth() const { return state == Known || (state == Offline && reading >= 0); }
    /// For a screen reader: "25 % down, moving down".
    QString words() const;

    State state = NotAsked;
    Kind kind = Blind;
    Motion motion = Resting;
    bool isLocked = false;
    bool isRefused = false;
    bool isShaky = false;
    bool isDoubled = false;
    /// In percent from the top; -1 for none.
    int reading = -1;
    int target = -1;
    int tilt = -1;
    /// In minutes; 0 for less.
    int silentMinutes = 0;
};

#endif
