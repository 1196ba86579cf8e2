#ifndef THEME_H
#define THEME_H

#include <QColor>
#include <QQmlPropertyMap>

/// The look of the panel, by name: colours, light and dark, sizes, distances and fonts. QML reads it as
/// "Theme", and writes "isDark".
class Theme : public QQmlPropertyMap
{
    Q_OBJECT

public:
    /// Names of colours, in the order of the table that has their values.
    enum Role : int {
        Page,
        Surface,
        Wall,
        Ink,
        Ink2,
        Rule,
        Outline,
        Accent,
        OnAccent,
        Ok,
        OkTint,
        Warning,
        WarningTint,
        Bad,
        BadTint,
        StopButton,
        OnStopButton,
        Frame,
        Glass,
        GlassLight,
        Cloth,
        Hem,
        LaneUser,
        LaneReadBack,
        LanePoll,
        LaneOther,
        RoleCount
    };
    enum Mode { Light, Dark };

    explicit Theme(Mode mode, QObject *parent = nullptr);

    static QColor colour(Role role, Mode mode);
    static QString name(Role role);

    Mode mode() const { return m_mode; }
    void setMode(Mode mode);
    QColor colour(Role role) const { return colour(role, m_mode); }

private:
    Mode m_mode;
};

#endif
