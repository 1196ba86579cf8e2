#ifndef PANELOPTIONS_H
#define PANELOPTIONS_H

#include <QSize>
#include <QString>
#include <QStringList>

#include <optional>

/// What the command line asks for.
struct PanelOptions
{
    enum Kind { Show, Help, Version, Wrong };

    /// @p arguments begin with the program. Of a mistake, text() tells.
    static PanelOptions read(const QStringList &arguments);

    Kind kind = Show;
    /// To be printed: the help, or what is wrong.
    QString text;
    bool isDemo = false;
    int shades = 0;
    QString bus;
    QString config;
    QString places;
    QString replay;
    QString find;
    bool isLooking = false;
    QString picture;
    QString capture;
    int afterMs = 3000;
    QSize size;
    QString view;
    /// "light", "dark", or empty for as the system is.
    QString theme;
};

#endif
