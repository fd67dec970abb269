#include "common/sealed_bytes.h"

#include <cstring>

namespace {

// Each step is reversible, so two texts that differ in one word always have different checksums. It
// detects accidental changes, not deliberate ones.
quint64 checksumOf(const char *data, qint64 size)
{
    constexpr quint64 factor = 0x9e3779b97f4a7c15;
    auto sum = static_cast<quint64>(size);
    const auto add = [&sum](quint64 word) {
        sum = (sum ^ word) * factor;
        sum ^= sum >> 32;
    };
    quint64 word = 0;
    qint64 position = 0;
    for (; size - position >= 8; position += 8) {
        std::memcpy(&word, data + position, sizeof word);
        add(word);
    }
    word = 0;
    std::memcpy(&word, data + position, static_cast<size_t>(size - position));
    add(word);
    return sum;
}

constexpr int checksumSize = sizeof(quint64);

} // namespace

QByteArray sealed(const QByteArray &bytes)
{
    const quint64 sum = checksumOf(bytes.constData(), bytes.size());
    return QByteArray(reinterpret_cast<const char *>(&sum), checksumSize) + bytes;
}

std::optional<QByteArray> unsealed(QByteArray bytes)
{
    if (bytes.size() < checksumSize)
        return {};
    quint64 sum = 0;
    std::memcpy(&sum, bytes.constData(), sizeof sum);
    if (sum != checksumOf(bytes.constData() + checksumSize, bytes.size() - checksumSize))
        return {};
    return bytes.remove(0, checksumSize);
}

void ByteWriter::number(qint64 value)
{
    m_bytes.append(reinterpret_cast<const char *>(&value), sizeof value);
}

void ByteWriter::text(const QString &value)
{
    number(value.size());
    m_bytes.append(reinterpret_cast<const char *>(value.constData()),
                   value.size() * static_cast<int>(sizeof(QChar)));
}

void ByteWriter::list(const QStringList &values)
{
    number(values.size());
    for (const QString &value : values)
        text(value);
}

ByteReader::ByteReader(const QByteArray &bytes)
    : m_bytes(bytes)
{
}

bool ByteReader::take(void *to, qint64 size)
{
    m_isOk = m_isOk && size >= 0 && size <= m_bytes.size() - m_position;
    if (!m_isOk)
        return false;
    std::memcpy(to, m_bytes.constData() + m_position, static_cast<size_t>(size));
    m_position += static_cast<int>(size);
    return true;
}

qint64 ByteReader::number()
{
    qint64 value = 0;
    take(&value, sizeof value);
    return value;
}

QString ByteReader::text()
{
    const qint64 size = number();
    const qint64 left = (m_bytes.size() - m_position) / static_cast<qint64>(sizeof(QChar));
    m_isOk = m_isOk && size >= 0 && size <= left;
    if (!m_isOk || size == 0)
        return {};
    QString value(static_cast<int>(size), Qt::Uninitialized);
    take(value.data(), size * static_cast<qint64>(sizeof(QChar)));
    return value;
}

int ByteReader::count()
{
    const qint64 value = number();
    m_isOk = m_isOk && value >= 0 && value <= (m_bytes.size() - m_position) / 8;
    return m_isOk ? static_cast<int>(value) : 0;
}

QStringList ByteReader::list()
{
    QStringList values;
    const int size = count();
    values.reserve(size);
    for (int i = 0; i < size && m_isOk; ++i)
        values.append(text());
    return values;
}
