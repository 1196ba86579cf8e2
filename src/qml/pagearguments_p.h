#ifndef VOX_QML_PAGEARGUMENTS_P_H
#define VOX_QML_PAGEARGUMENTS_P_H

#include <vox/messages/vox.h>

#include <QJSValue>
#include <QMetaEnum>
#include <QVector>

/// What a page has given to a command.
///
/// The engine itself would take a wrong name, which is undefined, and any text for 0: the first enumerator,
/// or the up limit. Here they are thrown, as a JavaScript error that names the command and what it takes.
class PageArguments
{
public:
    /// @p object is the one that the page has called.
    PageArguments(const QObject *object, const char *command)
        : m_object(object)
        , m_command(command)
    {
    }

    ~PageArguments();
    Q_DISABLE_COPY(PageArguments)

    /// False once there was something that cannot be. The command then does nothing.
    bool areRight() const { return m_problem.isEmpty(); }

    /// A whole number.
    int number(const char *what, const QJSValue &value, int first, int last);
    /// Rounded, because sliders give fractions.
    int percent(const QJSValue &value);
    template <typename Enum>
    Enum name(const QJSValue &value)
    {
        return static_cast<Enum>(name(QMetaEnum::fromType<Enum>(), value));
    }
    QString text(const char *what, const QJSValue &value);
    ///@{
    /// Addresses are numbers, or texts of six hexadecimal digits.
    VOX::Addr node(const QJSValue &value);
    VOX::Addr group(const QJSValue &value);
    QVector<VOX::Addr> nodes(const QJSValue &values);
    ///@}
    /// Refuses for @p problem, unless it is empty.
    void check(const QString &problem);

private:
    int name(const QMetaEnum &names, const QJSValue &value);
    void refuse(const QJSValue &value, const QString &expected);

    const QObject *m_object;
    const char *m_command;
    QString m_problem;
    QJSValue::ErrorType m_type = QJSValue::RangeError;
};

#endif
