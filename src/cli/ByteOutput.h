#pragma once

#include <QByteArray>
#include <QFileDevice>
#include <QIODevice>
#include <QString>
#include <QTextStream>

#include <algorithm>

// UTF-8 bytes written through a command's text stream in large pieces: straight to its device
// when it has one (standard output), so long output is neither held nor re-encoded.
class ByteOutput
{
public:
    explicit ByteOutput(QTextStream &stream) : m_stream(stream), m_device(stream.device())
    {
        m_stream.flush();
        m_buffer.reserve(kFlushAt + 4096);
    }
    ~ByteOutput()
    {
        flush();
        if (auto *file = qobject_cast<QFileDevice *>(m_device)) {
            file->flush();
        }
    }
    ByteOutput(const ByteOutput &) = delete;
    ByteOutput &operator=(const ByteOutput &) = delete;

    // Room for `size` more bytes at the end of the buffer; `commit` says how many were used.
    char *reserve(qsizetype size)
    {
        if (m_buffer.size() + size > m_buffer.capacity()) {
            flush();
            m_buffer.reserve(std::max<qsizetype>(size, kFlushAt + 4096));
        }
        const qsizetype at = m_buffer.size();
        m_buffer.resize(at + size);
        return m_buffer.data() + at;
    }
    void commit(char *end) { m_buffer.truncate(end - m_buffer.constData()); }

    void write(const char *data, qsizetype size)
    {
        if (size >= kFlushAt) {
            flush();
            put(data, size);
            return;
        }
        m_buffer.append(data, size);
        if (m_buffer.size() >= kFlushAt) {
            flush();
        }
    }
    // Writes bytes [offset, offset + length) of the open file `fd` straight to standard output, where
    // the system can copy them without the tool reading them in (Linux, when the output is a file
    // descriptor that takes them). Returns how many it wrote; the caller writes the rest.
    qint64 copyFromFile(int fd, qint64 offset, qint64 length);

    void flush()
    {
        if (!m_buffer.isEmpty()) {
            put(m_buffer.constData(), m_buffer.size());
            m_buffer.resize(0); // keeps its room
        }
    }

private:
    static constexpr qsizetype kFlushAt = 64 << 10;

    void put(const char *data, qsizetype size)
    {
        if (m_device) {
            m_device->write(data, size);
        } else {
            m_stream << QString::fromUtf8(data, size);
        }
    }

    QTextStream &m_stream;
    QIODevice *m_device;
    QByteArray m_buffer;
};
