#pragma once

#include <QString>

namespace Core {

/// Names an application: organisation, a dot, name, as in com.example.Notes. A cheap value: the
/// text and two marks into it; the parts are views that live as long as the id they came from.
/// Never raises an error: an unparsable text gives an id that is not valid.
class ApplicationId
{
public:
    ApplicationId() = default;
    /// Parses `text`.
    explicit ApplicationId(const QString &text);
    /// Joins the parts without checking them: valid exactly when `organisation` is not empty.
    ApplicationId(const QString &organisation, const QString &name);
    /// The fallback id of an application whose desktop entry does not name it: organisation
    /// org.zarn and the file's base name with every character but letters and digits encoded.
    [[nodiscard]] static ApplicationId fromDesktopFileName(const QString &fileName);

    [[nodiscard]] bool isValid() const { return !m_text.isEmpty() && m_organisationLength > 0; }
    [[nodiscard]] QStringRef organisation() const;
    /// What follows the organisation and its dot; null when there is none.
    [[nodiscard]] QStringRef name() const;
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

    // The application at the start of another id: the first `length` characters of `text`, the
    // whole when that is less than 1, with its parts as they are marked there. Where no
    // organisation is marked, the text is parsed.
    [[nodiscard]] static ApplicationId startOf(const QString &text, qint16 length,
                                               qint16 organisationLength);

    QString m_text;
    qint16 m_organisationLength = 0;
    qint16 m_length = 0;
};

/// Names one background task: application id, ".task_", task name. Same kind of value.
class ApplicationTaskId
{
public:
    ApplicationTaskId() = default;
    /// Parses `text`; not valid unless it has an application id, ".task_" and a name.
    explicit ApplicationTaskId(const QString &text);
    /// Joins the parts; an empty `taskName` makes the result not valid.
    ApplicationTaskId(const ApplicationId &application, const QString &taskName);

    [[nodiscard]] bool isValid() const { return !m_text.isEmpty() && m_organisationLength > 0; }
    /// The application that declares the task, with the parts that it was joined of or parsed to;
    /// made of the whole text when this is not valid.
    [[nodiscard]] ApplicationId applicationId() const;
    /// The task's own name, without "task_"; null when this is not valid.
    [[nodiscard]] QStringRef taskName() const;
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

/// Names one running copy of an application: the application id, followed by ".instance_" and a
/// decimal number unless that is 0. Same kind of value.
class ApplicationInstanceId
{
public:
    ApplicationInstanceId() = default;
    /// Parses `text`, with or without an instance suffix.
    explicit ApplicationInstanceId(const QString &text);
    /// Instance `number` of `application`; 0 is the bare application id.
    ApplicationInstanceId(const ApplicationId &application, int number);
    /// Accepts either form: the id of a task (then its application and task suffix are marked as
    /// ApplicationTaskId does) or of an instance.
    [[nodiscard]] static ApplicationInstanceId fromTaskOrInstance(const QString &text);

    [[nodiscard]] bool isValid() const { return !m_text.isEmpty() && m_organisationLength > 0; }
    /// The application, with the parts that it was joined of or parsed to.
    [[nodiscard]] ApplicationId applicationId() const;
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
