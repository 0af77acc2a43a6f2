// SPDX-License-Identifier: BSD-3-Clause
// What the fuzz targets share: reporting a broken rule, handing bytes to a loader as a real file,
// and comparing values to the bit.
#ifndef QZGUI_FUZZ_CHECK_H
#define QZGUI_FUZZ_CHECK_H

#include <QByteArray>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTimeZone>
#include <QVariant>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>

namespace qz::fuzz {

// Ends the run as a finding: libFuzzer keeps the input that got here.
[[noreturn]] inline void broken(const char* what, const QString& detail = QString())
{
    std::fprintf(stderr, "rule broken: %s\n  %s\n", what, qPrintable(detail));
    std::abort();
}

inline void check(bool holds, const char* what, const QString& detail = QString())
{
    if (!holds)
        broken(what, detail);
}

// A file the loaders read, rewritten for each input. It lies in shared memory where there is some:
// loaders are given real files, and a disk would only slow the run.
class input_file {
public:
    explicit input_file(const char* name)
    {
        const QString base =
            QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm") : QDir::tempPath();
        _path = QStringLiteral("%1/qzgui-fuzz-%2-%3")
                    .arg(base, QString::number(QCoreApplication::applicationPid()), QLatin1String(name));
    }
    ~input_file() { QFile::remove(_path); }

    const QString& path() const { return _path; }

    // A loader's refusal must name this file and then its fault.
    void check_refusal(const std::exception& e) const
    {
        const QString message = QString::fromUtf8(e.what());
        check(message.startsWith(_path + QStringLiteral(": ")) && message.size() > _path.size() + 2,
              "a refusal names the file and the fault", message);
    }

    void write(const uint8_t* data, size_t size) const
    {
        QFile file(_path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
            || file.write(reinterpret_cast<const char*>(data), qint64(size)) != qint64(size))
            broken("the input file could not be written", _path);
    }

private:
    QString _path;
};

// The id a text names, read here apart from the library as the targets' yardstick: decimal
// digits, or "0x"/"0X" and hexadecimal digits, at most 0xFFFFFFFF.
inline std::optional<uint32_t> id_of_text(const QString& text)
{
    int base = 10;
    QString digits = text;
    if (text.size() > 2 && text.startsWith(QLatin1Char('0')) && text[1].toLower() == QLatin1Char('x')) {
        base = 16;
        digits = text.mid(2);
    }
    if (digits.isEmpty())
        return std::nullopt;
    uint64_t value = 0;
    for (const QChar c : digits) {
        const int d = c.unicode() < 128 ? QStringLiteral("0123456789abcdef").indexOf(c.toLower()) : -1;
        if (d < 0 || d >= base)
            return std::nullopt;
        value = value * uint64_t(base) + uint64_t(d);
        if (value > 0xFFFFFFFFu)
            return std::nullopt;
    }
    return uint32_t(value);
}

// Whether two values are the same to the bit: the type, a double's bits, a date-time's instant and
// clock. QVariant's own equality takes nearly equal doubles, and instants in other clocks, for equal.
inline bool same_value(const QVariant& a, const QVariant& b)
{
    if (a.userType() != b.userType() || a.isValid() != b.isValid())
        return false;
    if (a.userType() == QMetaType::Double) {
        const double x = a.toDouble();
        const double y = b.toDouble();
        return std::memcmp(&x, &y, sizeof x) == 0;
    }
    if (a.userType() == QMetaType::QDateTime) {
        const QDateTime x = a.toDateTime();
        const QDateTime y = b.toDateTime();
        return x.isValid() == y.isValid() && (!x.isValid() || x.toMSecsSinceEpoch() == y.toMSecsSinceEpoch())
            && x.timeSpec() == y.timeSpec() && x.offsetFromUtc() == y.offsetFromUtc()
            && x.timeZone().id() == y.timeZone().id();
    }
    return a == b;
}

// The bytes as text: UTF-8, or UTF-16 when the first byte's lowest bit is set (then skipped), so
// that a target also meets unpaired surrogates and text UTF-8 cannot carry.
inline QString text_of(const uint8_t* data, size_t size)
{
    if (size == 0)
        return QString();
    if (data[0] & 1) {
        QString text((int(size) - 1) / 2, Qt::Uninitialized); // copied: the bytes may lie unaligned
        std::memcpy(text.data(), data + 1, size_t(text.size()) * 2);
        return text;
    }
    return QString::fromUtf8(reinterpret_cast<const char*>(data + 1), int(size - 1));
}

} // namespace qz::fuzz

#endif
