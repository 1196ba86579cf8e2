#include "vox/host/operation.h"

#include "proxies/kvrmotorproxy.h"

#include <QMetaEnum>

#include <limits>

namespace {
const QString HexPrefix = QStringLiteral("hex:");

QVector<QMetaMethod> operations()
{
    // Among the parameters' types.
    VOX::registerMetaTypes();
    QVector<QMetaMethod> found;
    const QMetaObject &meta = KVRMotorProxy::staticMetaObject;
    for (int i = KVRStdProxy::staticMetaObject.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (qstrcmp(method.typeName(), "BusPendingCall") == 0)
            found.append(method);
    }
    return found;
}

QMetaEnum enumerationOf(const QByteArray &type)
{
    const QByteArray name = type.mid(type.lastIndexOf(':') + 1);
    const QMetaObject &meta = KVRMotor::staticMetaObject;
    return meta.enumerator(meta.indexOfEnumerator(name.constData()));
}

template <typename T>
bool readNumber(const QString &text, QVariant *value, QString *expected)
{
    constexpr uint Max = std::numeric_limits<T>::max();
    bool isNumber = false;
    const uint number = text.toUInt(&isNumber, 0);
    *value = QVariant::fromValue(static_cast<T>(number));
    *expected = QStringLiteral("a number from 0 to %1").arg(Max);
    return isNumber && number <= Max;
}

bool readFlag(const QString &text, QVariant *value, QString *expected)
{
    static const QStringList on = {QStringLiteral("1"), QStringLiteral("true"), QStringLiteral("on")};
    static const QStringList off = {QStringLiteral("0"), QStringLiteral("false"), QStringLiteral("off")};
    *value = on.contains(text);
    *expected = QStringLiteral("true or false");
    return on.contains(text) || off.contains(text);
}

bool readAddr(const QString &text, QVariant *value, QString *expected)
{
    constexpr uint MaxAddr = 0xffffff;
    bool isNumber = false;
    const uint addr = text.toUInt(&isNumber, 16);
    *value = addr;
    *expected = QStringLiteral("an address of up to six hexadecimal digits");
    return isNumber && addr <= MaxAddr;
}

bool readBytes(const QString &text, QVariant *value, QString *expected)
{
    const QByteArray digits = text.mid(HexPrefix.size()).toLatin1().toLower();
    const QByteArray bytes = QByteArray::fromHex(digits);
    const bool isHex = text.startsWith(HexPrefix);
    *value = isHex ? bytes : text.toLatin1();
    *expected = QStringLiteral("text, or %1 and pairs of hexadecimal digits").arg(HexPrefix);
    return !isHex || bytes.toHex() == digits;
}

bool readKey(const QMetaEnum &keys, const QString &text, QVariant *value, QString *expected)
{
    bool isKnown = false;
    int number = keys.keyToValue(text.toLatin1().constData(), &isKnown);
    if (!isKnown)
        number = text.toUShort(&isKnown, 0);
    QStringList names;
    for (int i = 0; i < keys.keyCount(); ++i)
        names += QString::fromLatin1(keys.key(i));
    *value = number;
    *expected = QStringLiteral("a number from 0 to 255 or one of %1").arg(names.join(QLatin1String(", ")));
    return isKnown && number <= std::numeric_limits<quint8>::max();
}

bool readArgument(const QMetaMethod &method, int index, const QString &text, QVariant *value,
                  QString *expected)
{
    switch (method.parameterType(index)) {
    case QMetaType::UChar:
        return readNumber<quint8>(text, value, expected);
    case QMetaType::UShort:
        return readNumber<quint16>(text, value, expected);
    case QMetaType::Bool:
        return readFlag(text, value, expected);
    case QMetaType::UInt:
        return readAddr(text, value, expected);
    case QMetaType::QByteArray:
        return readBytes(text, value, expected);
    default:
        return readKey(enumerationOf(method.parameterTypes().at(index)), text, value, expected);
    }
}
}

QStringList Operation::names()
{
    QStringList found;
    const QVector<QMetaMethod> methods = operations();
    for (const QMetaMethod &method : methods)
        found += QString::fromLatin1(method.name());
    found.removeDuplicates();
    return found;
}

QStringList Operation::keys(const QString &name, int index)
{
    QStringList found;
    const QVector<QMetaMethod> methods = operations();
    for (const QMetaMethod &method : methods) {
        if (QLatin1String(method.name()) != name || index < 0 || index >= method.parameterCount())
            continue;
        const QMetaEnum keys = enumerationOf(method.parameterTypes().at(index));
        for (int i = 0; i < keys.keyCount(); ++i)
            found += QString::fromLatin1(keys.key(i));
        break;
    }
    return found;
}

bool Operation::find(const QString &name, int argumentCount, Operation *operation, QString *problem)
{
    QStringList forms;
    const QVector<QMetaMethod> methods = operations();
    for (const QMetaMethod &method : methods) {
        if (QLatin1String(method.name()) != name)
            continue;
        operation->m_method = method;
        if (method.parameterCount() == argumentCount)
            return true;
        forms += operation->usage();
    }
    *problem = forms.isEmpty()
        ? QStringLiteral("unknown operation '%1'; one of %2").arg(name, names().join(QLatin1String(", ")))
        : QStringLiteral("%1 arguments given; what it takes is: %2")
              .arg(argumentCount)
              .arg(forms.join(QLatin1String(" or ")));
    return false;
}

QString Operation::usage() const
{
    QStringList words = {QString::fromLatin1(m_method.name())};
    const QList<QByteArray> parameters = m_method.parameterNames();
    for (const QByteArray &parameter : parameters)
        words += QString::fromLatin1(parameter).toUpper();
    return words.join(QLatin1Char(' '));
}

bool Operation::setArguments(const QStringList &arguments, QString *problem)
{
    m_arguments.clear();
    for (int i = 0; i < arguments.size(); ++i) {
        QVariant value;
        QString expected;
        if (!readArgument(m_method, i, arguments.at(i), &value, &expected)) {
            *problem =
                QStringLiteral("%1: '%2' is not %3")
                    .arg(QString::fromLatin1(m_method.parameterNames().at(i)), arguments.at(i), expected);
            return false;
        }
        m_arguments.append(value);
    }
    return true;
}

BusPendingCall Operation::call(KVRMotorProxy &proxy) const
{
    constexpr int MaxArguments = 6;
    QGenericArgument arguments[MaxArguments];
    const QList<QByteArray> types = m_method.parameterTypes();
    for (int i = 0; i < m_arguments.size(); ++i)
        arguments[i] = QGenericArgument(types.at(i).constData(), m_arguments.at(i).constData());
    BusPendingCall call;
    m_method.invoke(&proxy, Qt::DirectConnection, Q_RETURN_ARG(BusPendingCall, call), arguments[0],
                    arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
    return call;
}
