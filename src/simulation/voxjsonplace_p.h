#ifndef VOX_SIMULATION_VOXJSONPLACE_P_H
#define VOX_SIMULATION_VOXJSONPLACE_P_H

#include <vox/simulation/simulation_export.h>

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <QMetaEnum>
#include <QString>
#include <QStringList>

/// A place in a JSON file that is being read: what stands there, and its path for people, as in
/// "nodes[3].limits.down".
///
/// A value that does not fit reads as a default, and the first mistake is kept in @p problem with its path. A
/// reader can thus read on, and look at ok() at the end.
class VOX_SIMULATION_EXPORT VOXJsonPlace
{
public:
    /// Reads the file @p name, which holds one JSON object. False if that cannot be done; @p problem says
    /// why, with the line of a mistake.
    static bool readFile(const QString &name, QJsonObject *object, QString *problem);
    /// The same of an object or an array.
    static bool readFile(const QString &name, QJsonDocument *document, QString *problem);

    /// @p problem must outlive the place, and all that are made from it.
    VOXJsonPlace(const QJsonValue &value, const QString &path, QString *problem);

    bool isPresent() const { return !m_value.isUndefined(); }
    bool isNull() const { return m_value.isNull(); }
    bool ok() const { return m_problem->isEmpty(); }
    const QString &path() const { return m_path; }
    /// What stands there; undefined if nothing does.
    const QJsonValue &value() const { return m_value; }

    /// A member of an object; not present if there is none.
    VOXJsonPlace operator[](const QString &key) const;
    /// The names of an object's members. If it is no object, that is a mistake.
    QStringList keys() const;
    /// An element of an array.
    VOXJsonPlace at(int index) const;
    /// How many elements the array has. If it is no array, or has more than @p most, that is a mistake, and
    /// the result is 0.
    int size(int most) const;
    /// Whether it is an object without other members than @p keys; else that is a mistake.
    bool isObjectOf(const QStringList &keys) const;

    int number(int least, int most) const;
    bool flag() const;
    QString text() const;
    /// The bytes of a text of Latin-1 characters, at most @p most of them.
    QByteArray latin1(int most) const;
    /// Six hexadecimal digits.
    unsigned int address() const;
    /// The value of an enumeration, by its key's name.
    template <typename Enum>
    Enum key() const
    {
        return static_cast<Enum>(keyOf(QMetaEnum::fromType<Enum>()));
    }

    void fail(const QString &mistake) const;

private:
    int keyOf(const QMetaEnum &keys) const;

    QJsonValue m_value;
    QString m_path;
    QString *m_problem;
};

#endif
