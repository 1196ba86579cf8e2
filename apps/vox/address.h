#ifndef ADDRESS_H
#define ADDRESS_H

#include <QString>

/// Reads an address of six hexadecimal digits.
bool readAddr(const QString &text, unsigned int *addr);
/// Why no node can have this address; empty if one can.
QString nodeAddrProblem(unsigned int addr);
/// Reads the address of a node.
bool readNodeAddr(const QString &text, unsigned int *addr, QString *problem);

#endif
