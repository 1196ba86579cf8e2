#include "simulation/voxjsonplace_p.h"

#include "messages/vox.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>

#include <cmath>

bool VOXJsonPlace::readFile(const QString &name, QJsonObject *object, QString *problem)
{
    QJsonDocument document;
    if (!readFile(name, &document, problem))
        return false;
    *object = document.object();
    if (!document.isObject())
        *problem = QStringLiteral("%1: is to hold a JSON object").arg(name);
    return document.isObject();
}

bool VOXJsonPlace::readFile(const QString &name, QJsonDocument *document, QString *problem)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = QStringLiteral("cannot read %1: %2").arg(name, file.errorString());
        return false;
    }
    const QByteArray text = file.readAll();
    QJsonParseError error;
    *document = QJsonDocument::fromJson(text, &error);
    if (error.error == QJsonParseError::NoError)
        return true;
    *problem = QStringLiteral("%1: %2 in line %3")
                   .arg(name, error.errorString())
                   .arg(text.left(error.offset).count('\n') + 1);
    return false;
}

VOXJsonPlace::VOXJsonPlace(const QJsonValue &value, const QString &path, QString *problem)
    : m_value(value)
    , m_path(path)
    , m_problem(problem)
{
}

void VOXJsonPlace::fail(const QString &mistake) const
{
    if (m_problem->isEmpty())
        *m_problem = m_path.isEmpty() ? mistake : QStringLiteral("%1: %2").arg(m_path, mistake);
}

VOXJsonPlace VOXJsonPlace::operator[](const QString &key) const
{
    const QString path = m_path.isEmpty() ? key : QStringLiteral("%1.%2").arg(m_path, key);
    return VOXJsonPlace(m_value.toObject().value(key), path, m_problem);
}

VOXJsonPlace VOXJsonPlace::at(int index) const
{
    return VOXJsonPlace(m_value.toArray().at(index), QStringLiteral("%1[%2]").arg(m_path).arg(index),
                        m_problem);
}

int VOXJsonPlace::size(int most) const
{
    if (!m_value.isArray()) {
        fail(QStringLiteral("is to be an array"));
        return 0;
    }
    const int count = m_value.toArray().size();
    if (count <= most)
        return count;
    fail(QStringLiteral("has %1 elements, and %2 is the most").arg(count).arg(most));
    return 0;
}

QStringList VOXJsonPlace::keys() const
{
    if (!m_value.isObject())
        fail(QStringLiteral("is to be an object"));
    return m_value.toObject().keys();
}

bool VOXJsonPlace::isObjectOf(const QStringList &keys) const
{
    const QStringList present = this->keys();
    if (!m_value.isObject())
        return false;
    for (const QString &key : present) {
        if (keys.contains(key))
            continue;
        (*this)[key].fail(QStringLiteral("unknown; one of %1").arg(keys.join(QStringLiteral(", "))));
        return false;
    }
    return true;
}

int VOXJsonPlace::number(int least, int most) const
{
    const double value = m_value.toDouble(std::nan(""));
    if (value >= least && value <= most && value == std::floor(value))
        return static_cast<int>(value);
    fail(QStringLiteral("is to be a whole number from %1 to %2").arg(least).arg(most));
    return least;
}

bool VOXJsonPlace::flag() const
{
    if (!m_value.isBool())
        fail(QStringLiteral("is to be true or false"));
    return m_value.toBool();
}

QString VOXJsonPlace::text() const
{
    if (!m_value.isString())
        fail(QStringLiteral("is to be a text"));
    return m_value.toString();
}

QByteArray VOXJsonPlace::latin1(int most) const
{
    const QString characters = text();
    QByteArray bytes = characters.toLatin1();
    if (QString::fromLatin1(bytes) != characters)
        fail(QStringLiteral("has a character that is not of Latin-1"));
    else if (bytes.size() > most)
        fail(QStringLiteral("has %1 characters, and %2 is the most").arg(bytes.size()).arg(most));
    return bytes;
}

unsigned int VOXJsonPlace::address() const
{
    unsigned int addr = 0;
    if (!VOX::readAddr(m_value.toString(), &addr))
        fail(QStringLiteral("is to be an address of six hexadecimal digits, in quotes"));
    return addr;
}

int VOXJsonPlace::keyOf(const QMetaEnum &keys) const
{
    bool isKey = false;
    const int value = keys.keyToValue(m_value.toString().toLatin1(), &isKey);
    if (isKey)
        return value;
    QStringList names;
    for (int i = 0; i < keys.keyCount(); ++i)
        names += QString::fromLatin1(keys.key(i));
    fail(QStringLiteral("is to be one of %1").arg(names.join(QStringLiteral(", "))));
    return 0;
}
