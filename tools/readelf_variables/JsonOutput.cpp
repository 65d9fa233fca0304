#include "JsonOutput.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <charconv>
#include <cstring>
#include <utility>

namespace {

// A byte buffer written through a cursor: one capacity check per field instead of one per byte,
// because the list of a large firmware has hundreds of thousands of fields.
class JsonText {
public:
    explicit JsonText(int expected) { m_bytes.resize(qMax(expected, 256)); }

    void Raw(const char* text, int size) {
        Reserve(size);
        std::memcpy(m_bytes.data() + m_used, text, size_t(size));
        m_used += size;
    }
    template <int N> void Raw(const char (&text)[N]) { Raw(text, N - 1); }

    template <typename Integer> void Number(Integer value, int base = 10) {
        Reserve(32);
        char* start = m_bytes.data() + m_used;
        m_used += int(std::to_chars(start, start + 32, value, base).ptr - start);
    }

    // Text as the inside of a JSON string: quotes, backslashes and control characters escaped;
    // bytes from 0x80 up are UTF-8 and pass as they are.
    void Escaped(const QByteArray& text) {
        static const char hex[] = "0123456789abcdef";
        Reserve(text.size() * 6);
        char* out = m_bytes.data() + m_used;
        for (const char c : text) {
            const unsigned char u = static_cast<unsigned char>(c);
            if (c == '"' || c == '\\') {
                *out++ = '\\';
                *out++ = c;
            } else if (u < 0x20) {
                const char escaped[] = {'\\', 'u', '0', '0', hex[u >> 4], hex[u & 0xf]};
                std::memcpy(out, escaped, sizeof escaped);
                out += sizeof escaped;
            } else {
                *out++ = c;
            }
        }
        m_used = int(out - m_bytes.data());
    }

    QByteArray Take() {
        m_bytes.resize(m_used);
        return std::move(m_bytes);
    }

private:
    void Reserve(int size) {
        if (m_used + size > m_bytes.size()) {
            m_bytes.resize(qMax(m_bytes.size() * 2, m_used + size));
        }
    }

    QByteArray m_bytes;
    int m_used = 0;
};

void WriteString(JsonText* out, const QByteArray& text, const QByteArray& more = QByteArray()) {
    out->Raw("\"");
    out->Escaped(text);
    out->Escaped(more);
    out->Raw("\"");
}

} // namespace

QByteArray ElfVariablesJson(const QVector<ElfVariableGroup>& groups) {
    JsonText out(64 + CountLeaves(groups) * 120);
    out.Raw("[");
    qint64 key = 1;
    bool firstGroup = true;
    for (const ElfVariableGroup& group : groups) {
        out.Raw(firstGroup ? "\n  {\"name\": " : ",\n  {\"name\": ", firstGroup ? 12 : 13);
        firstGroup = false;
        WriteString(&out, group.name);
        out.Raw(", \"dataList\": [");
        bool firstLeaf = true;
        for (const ElfVariable& var : group.vars) {
            for (const ElfLeaf& leaf : var.leaves) {
                out.Raw(firstLeaf ? "\n    {\"name\": " : ",\n    {\"name\": ", firstLeaf ? 14 : 15);
                firstLeaf = false;
                WriteString(&out, var.name, leaf.suffix);
                out.Raw(", \"address\": \"");
                out.Number(var.address + leaf.offset, 16);
                out.Raw("\", \"scope\": ");
                WriteString(&out, var.scope);
                out.Raw(", \"size\": ");
                out.Number(leaf.size);
                out.Raw(", \"type\": ");
                WriteString(&out, leaf.type);
                out.Raw(", \"key\": ");
                out.Number(key++);
                // An extra key that older readers ignore: how the bytes read behind any typedef.
                if (!leaf.encoding.isEmpty()) {
                    out.Raw(", \"encoding\": ");
                    WriteString(&out, leaf.encoding);
                }
                out.Raw("}");
            }
        }
        if (firstLeaf) {
            out.Raw("]}");
        } else {
            out.Raw("\n  ]}");
        }
    }
    if (firstGroup) {
        out.Raw("]\n");
    } else {
        out.Raw("\n]\n");
    }
    return out.Take();
}

int CountLeaves(const QVector<ElfVariableGroup>& groups) {
    int count = 0;
    for (const ElfVariableGroup& group : groups) {
        for (const ElfVariable& var : group.vars) {
            count += var.leaves.size();
        }
    }
    return count;
}

int RemoveStaleOutput(const QString& path, QString* error) {
    QFile file(path);
    if (!QFileInfo::exists(path) && !QFileInfo(path).isSymLink()) {
        return 0;
    }
    if (!file.remove()) {
        *error = QStringLiteral("cannot remove the old '%1': %2").arg(path, file.errorString());
        return -1;
    }
    return 0;
}

int WriteElfJson(const QString& path, const QVector<ElfVariableGroup>& groups, QString* error) {
    // A temporary file beside the target, renamed into place once complete. No sync to disk: the
    // list is read at once and can always be made again, and a sync costs more than the whole run.
    QTemporaryFile file(path + QStringLiteral(".XXXXXX"));
    if (!file.open()) {
        *error = QStringLiteral("cannot write '%1': %2").arg(path, file.errorString());
        return -1;
    }
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup |
                        QFileDevice::ReadOther);
    const QByteArray bytes = ElfVariablesJson(groups);
    const bool written = file.write(bytes) == bytes.size() && file.flush();
    QString ignored;
    if (!written || RemoveStaleOutput(path, &ignored) != 0 || !file.rename(path)) {
        *error = QStringLiteral("cannot write '%1': %2").arg(path, file.errorString());
        RemoveStaleOutput(path, &ignored);
        return -1;
    }
    file.setAutoRemove(false); // it would remove the file under its new name
    return 0;
}
