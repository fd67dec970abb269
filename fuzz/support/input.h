#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

/// Takes the bytes of an input apart. There is always a value: an input that has ended gives zeros
/// and empty texts.
class Input
{
public:
    /// @param data has to live as long as this object.
    Input(const uint8_t *data, size_t size);

    [[nodiscard]] bool isAtEnd() const { return m_position == m_bytes.size(); }
    /// What is left before the next byte 0x1f, or before the end. Most targets have their fields
    /// separated so, because text holds that byte least often and can hold every other.
    [[nodiscard]] QByteArray field();
    [[nodiscard]] QString text() { return QString::fromUtf8(field()); }
    /// Everything that is left.
    [[nodiscard]] QByteArray rest();
    [[nodiscard]] uint8_t byte();
    /// A number below `bound`, which is from 1 to 256.
    [[nodiscard]] int below(int bound) { return byte() % bound; }
    /// A number of so many bytes, at most 8.
    [[nodiscard]] uint64_t number(int bytes);

private:
    const QByteArray m_bytes;
    int m_position = 0;
};
