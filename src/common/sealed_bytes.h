#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

// Binary serialisation, for a file that the same program reads again: numbers and texts have the
// byte order of this machine. Usable from any thread.

/// Puts a checksum in front, which unsealed() checks.
[[nodiscard]] QByteArray sealed(const QByteArray &bytes);
/// What sealed() was given; nothing when the bytes were changed or cut off.
/// @param bytes is not copied when it is moved here.
[[nodiscard]] std::optional<QByteArray> unsealed(QByteArray bytes);

/// Appends values to a byte array.
class ByteWriter
{
public:
    /// Appends a number.
    void number(qint64 value);
    /// Appends a text.
    void text(const QString &value);
    /// Appends a list of texts.
    void list(const QStringList &values);
    /// Everything that was written.
    [[nodiscard]] const QByteArray &bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

/// Reads the values that a ByteWriter wrote, in the same order. Safe for any input: it never reads
/// beyond the bytes, and allocates no more memory than they take. A value that is missing is 0 or
/// empty, and isOk() is false from then on.
class ByteReader
{
public:
    /// @param bytes has to outlive this object.
    explicit ByteReader(const QByteArray &bytes);

    /// Reads a number; 0 when there is none.
    [[nodiscard]] qint64 number();
    /// Reads a text; empty when there is none.
    [[nodiscard]] QString text();
    /// Reads a list of texts; empty when there is none.
    [[nodiscard]] QStringList list();
    /// A count of elements that take at least eight bytes each; checked against the bytes that are
    /// left.
    [[nodiscard]] int count();
    /// False when a value was missing or wrong.
    [[nodiscard]] bool isOk() const { return m_isOk; }
    /// Whether all bytes have been read.
    [[nodiscard]] bool isAtEnd() const { return m_position == m_bytes.size(); }

private:
    bool take(void *to, qint64 size);

    const QByteArray &m_bytes;
    int m_position = 0;
    bool m_isOk = true;
};
