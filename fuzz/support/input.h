#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

/// Reads values from the bytes of an input. There is always a value: after the end of the input
/// these are zeros and empty texts.
class Input
{
public:
    /// @param data has to exist as long as this object.
    Input(const uint8_t *data, size_t size);

    [[nodiscard]] bool isAtEnd() const { return m_position == m_bytes.size(); }
    /// The bytes before the next byte 0x1f or the end. Most targets separate their fields by this
    /// byte, because it is the rarest one in texts.
    [[nodiscard]] QByteArray field();
    [[nodiscard]] QString text() { return QString::fromUtf8(field()); }
    /// All bytes that are left.
    [[nodiscard]] QByteArray rest();
    [[nodiscard]] uint8_t byte();
    /// A number below `bound`, which is 1 to 256.
    [[nodiscard]] int below(int bound) { return byte() % bound; }
    /// A number of this many bytes, at most 8.
    [[nodiscard]] uint64_t number(int bytes);

private:
    const QByteArray m_bytes;
    QByteArray::size_type m_position = 0;
};
