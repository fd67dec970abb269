#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

// Values as bytes, for a file that the same program reads again: numbers and texts as they are in
// memory. Not for other machines.

/// Bytes with a checksum in front, by which unsealed() knows them again.
[[nodiscard]] QByteArray sealed(const QByteArray &bytes);
/// What sealed() was given; nothing when a bit of it has changed, or it was cut off.
[[nodiscard]] std::optional<QByteArray> unsealed(const QByteArray &bytes);

/// Puts values one behind the other.
class ByteWriter
{
public:
    void number(qint64 value);
    void text(const QString &value);
    void list(const QStringList &values);
    [[nodiscard]] const QByteArray &bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

/// Takes values as a ByteWriter has put them. Whatever the bytes are, it reads nothing beyond them
/// and takes no more memory than they do: what is not there is zero or empty, and the reader is not
/// ok from then on.
class ByteReader
{
public:
    /// @param bytes have to live as long as this object.
    explicit ByteReader(const QByteArray &bytes);

    [[nodiscard]] qint64 number();
    [[nodiscard]] QString text();
    [[nodiscard]] QStringList list();
    /// A number of things that take at least eight bytes each.
    [[nodiscard]] int count();
    [[nodiscard]] bool isOk() const { return m_isOk; }
    /// Whether everything was taken.
    [[nodiscard]] bool isAtEnd() const { return m_position == m_bytes.size(); }

private:
    bool take(void *to, qint64 size);

    const QByteArray &m_bytes;
    int m_position = 0;
    bool m_isOk = true;
};
