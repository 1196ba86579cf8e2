#ifndef COMMANDREFERENCE_H
#define COMMANDREFERENCE_H

#include <QByteArray>

/// The page of documentation that lists all commands and what their frames hold.
QByteArray commandPage();

/// The same as tables of Lua, for dissectors.
QByteArray commandLua();

#endif
