#pragma once

#include <QString>
#include <QStringView>

namespace Core {

/// Identifies an application: organisation, a dot and a name, as in com.example.Notes. A cheap
/// value: the text and two lengths. The parts are views that are valid as long as the id that they
/// came from. A text that cannot be parsed gives an invalid id; there is no other error. Usable
/// from any thread.
class ApplicationId
{
public:
    ApplicationId() = default;
    /// Parses `text`.
    explicit ApplicationId(const QString &text);
    /// Joins the parts without checking them. Valid if and only if `organisation` is not empty.
    ApplicationId(const QString &organisation, const QString &name);
    /// The fallback id for a desktop entry that does not declare one: the organisation org.zarn,
    /// and the base name of the file, in which every character other than letters and digits is
    /// encoded.
    [[nodiscard]] static ApplicationId fromDesktopFileName(const QString &fileName);

    /// False when the text could not be parsed.
    [[nodiscard]] bool isValid() const { return !m_text.isEmpty() && m_organisationLength > 0; }
    /// The part before the name; empty when this id is invalid.
    [[nodiscard]] QStringView organisation() const;
    /// What follows the organisation and its dot; null when there is none.
    [[nodiscard]] QStringView name() const;
    /// The full text, also of an invalid id.
    [[nodiscard]] const QString &toString() const { return m_text; }

    friend bool operator==(const ApplicationId &a, const ApplicationId &b)
    {
        return a.m_text == b.m_text;
    }
    friend bool operator!=(const ApplicationId &a, const ApplicationId &b) { return !(a == b); }
    friend bool operator<(const ApplicationId &a, const ApplicationId &b)
    {
        return a.m_text < b.m_text;
    }

private:
    friend class ApplicationInstanceId;
    friend class ApplicationTaskId;

    // The application id at the start of another id.
    // @param length number of characters of `text` that form the id; the whole text when less than
    // 1.
    // @param organisationLength length of the organisation; when less than 1, the text is parsed.
    [[nodiscard]] static ApplicationId startOf(const QString &text, qint16 length,
                                               qint16 organisationLength);

    QString m_text;
    qint16 m_organisationLength = 0;
    qint16 m_length = 0;
};

/// Identifies one background task: application id, ".task_" and task name. The same kind of value.
class ApplicationTaskId
{
public:
    ApplicationTaskId() = default;
    /// Parses `text`; invalid unless it has an application id, ".task_" and a name.
    explicit ApplicationTaskId(const QString &text);
    /// Joins the parts; invalid when `taskName` is empty.
    ApplicationTaskId(const ApplicationId &application, const QString &taskName);

    /// False when the text could not be parsed.
    [[nodiscard]] bool isValid() const { return !m_text.isEmpty() && m_organisationLength > 0; }
    /// The application that declares the task. When this id is invalid, the result is parsed from
    /// the whole text.
    [[nodiscard]] ApplicationId applicationId() const;
    /// The task's name, without "task_"; null when this id is invalid.
    [[nodiscard]] QStringView taskName() const;
    /// The full text, also of an invalid id.
    [[nodiscard]] const QString &toString() const { return m_text; }

    friend bool operator==(const ApplicationTaskId &a, const ApplicationTaskId &b)
    {
        return a.m_text == b.m_text;
    }
    friend bool operator!=(const ApplicationTaskId &a, const ApplicationTaskId &b)
    {
        return !(a == b);
    }
    friend bool operator<(const ApplicationTaskId &a, const ApplicationTaskId &b)
    {
        return a.m_text < b.m_text;
    }

private:
    friend class ApplicationInstanceId;

    QString m_text;
    qint16 m_organisationLength = -1;
    qint16 m_applicationIdLength = 0;
};

/// Identifies one running instance of an application: the application id, followed by ".instance_"
/// and a decimal number unless the number is 0. The same kind of value.
class ApplicationInstanceId
{
public:
    ApplicationInstanceId() = default;
    /// Parses `text`, with or without an instance suffix.
    explicit ApplicationInstanceId(const QString &text);
    /// Instance `number` of `application`; 0 is the bare application id.
    ApplicationInstanceId(const ApplicationId &application, int number);
    /// Parses the id of a task or of an instance.
    [[nodiscard]] static ApplicationInstanceId fromTaskOrInstance(const QString &text);

    /// False when the text could not be parsed.
    [[nodiscard]] bool isValid() const { return !m_text.isEmpty() && m_organisationLength > 0; }
    /// The application of which this is an instance.
    [[nodiscard]] ApplicationId applicationId() const;
    /// The full text, also of an invalid id.
    [[nodiscard]] const QString &toString() const { return m_text; }

    friend bool operator==(const ApplicationInstanceId &a, const ApplicationInstanceId &b)
    {
        return a.m_text == b.m_text;
    }
    friend bool operator!=(const ApplicationInstanceId &a, const ApplicationInstanceId &b)
    {
        return !(a == b);
    }
    friend bool operator<(const ApplicationInstanceId &a, const ApplicationInstanceId &b)
    {
        return a.m_text < b.m_text;
    }

private:
    QString m_text;
    qint16 m_organisationLength = -1;
    qint16 m_applicationIdLength = 0;
};

} // namespace Core
