#include "fuzz/support/input.h"

Input::Input(const uint8_t *data, size_t size)
    : m_bytes(QByteArray::fromRawData(reinterpret_cast<const char *>(data), static_cast<int>(size)))
{
}

QByteArray Input::field()
{
    const auto separator = m_bytes.indexOf('\x1f', m_position);
    const auto end = separator < 0 ? m_bytes.size() : separator;
    const QByteArray field(m_bytes.constData() + m_position, end - m_position);
    m_position = separator < 0 ? end : end + 1;
    return field;
}

QByteArray Input::rest()
{
    const QByteArray rest(m_bytes.constData() + m_position, m_bytes.size() - m_position);
    m_position = m_bytes.size();
    return rest;
}

uint8_t Input::byte()
{
    return isAtEnd() ? uint8_t{0} : static_cast<uint8_t>(m_bytes.at(m_position++));
}

uint64_t Input::number(int bytes)
{
    uint64_t value = 0;
    for (int i = 0; i < bytes; ++i)
        value = value << 8U | byte();
    return value;
}
