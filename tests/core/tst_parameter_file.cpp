// SPDX-License-Identifier: BSD-3-Clause
// Parameter files on disk, and parameter sets between files and a Designer form with real widgets.
#include "qzgui/form_scan.h"
#include "qzgui/parameter_file.h"
#include "qzgui/ui_controller.h"

#include "ui_bound_form.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTimeZone>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <stdexcept>

using namespace qz::gui;

using value_map = QMap<uint32_t, QVariant>;

namespace {

uint64_t bits_of(double value)
{
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

double double_of(uint64_t bits)
{
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Exactly the same value: the same type, a double to the bit, a date-time with the same instant,
// clock (local time, UTC, offset or zone), offset and zone.
QString difference(const QVariant& a, const QVariant& b)
{
    if (a.userType() != b.userType())
        return QStringLiteral("types %1 and %2")
            .arg(QLatin1String(a.typeName()), QLatin1String(b.typeName()));
    switch (a.userType()) {
    case QMetaType::UnknownType:
        return QString();
    case QMetaType::Double:
        return bits_of(a.toDouble()) == bits_of(b.toDouble()) ? QString()
                                                              : QStringLiteral("bits %1 and %2")
                                                                    .arg(bits_of(a.toDouble()), 0, 16)
                                                                    .arg(bits_of(b.toDouble()), 0, 16);
    case QMetaType::QDateTime: {
        const QDateTime x = a.toDateTime(), y = b.toDateTime();
        const bool same = x.isValid() == y.isValid() && x.toMSecsSinceEpoch() == y.toMSecsSinceEpoch()
            && x.timeSpec() == y.timeSpec() && x.offsetFromUtc() == y.offsetFromUtc()
            && x.timeZone().id() == y.timeZone().id();
        return same ? QString()
                    : QStringLiteral("%1 (%2) and %3 (%4)")
                          .arg(x.toString(Qt::ISODateWithMs), QString::number(x.timeSpec()),
                               y.toString(Qt::ISODateWithMs), QString::number(y.timeSpec()));
    }
    default:
        return a == b ? QString() : QStringLiteral("%1 and %2").arg(a.toString(), b.toString());
    }
}

void verify_same(const value_map& expected, const value_map& actual)
{
    QCOMPARE(actual.keys(), expected.keys());
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        const QString diff = difference(it.value(), actual.value(it.key()));
        QVERIFY2(diff.isEmpty(), qPrintable(QStringLiteral("id %1: %2").arg(it.key()).arg(diff)));
    }
}

QString text_with_every_kind_of_character()
{
    QString text = QStringLiteral("a\"b\\c/\n\r\t\u2028\u2029 \u00e9\u4e2d");
    text += QChar(0);
    text += QStringLiteral("after nul");
    text += QChar(0xD800); // unpaired surrogates are kept as they are
    text += QChar(0xDFFF);
    text += QString::fromUcs4(U"\U0001F600");
    for (char16_t c = 1; c < 0x20; ++c)
        text += QChar(c);
    return text;
}

struct bound_form : QWidget {
    bound_form()
    {
        ui.setupUi(this);
        // Designer cannot give items data; the host does.
        for (int i = 0; i < ui.mode->count(); ++i)
            ui.mode->setItemData(i, uint(10 * (i + 1)));
        ui.mode->setCurrentIndex(-1);
        ui.day->setDate(QDate(2026, 11, 23));
        ui.at->setTime(QTime(9, 30));
        ui.stamp->setDateTime(QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5, 6)));
        bindings = scan_form(this);
        controller = std::make_unique<ui_controller>(&bindings.widgets, &bindings.hints);
    }

    Ui::bound_form ui;
    form_bindings bindings;
    std::unique_ptr<ui_controller> controller;
};

} // namespace

class tst_parameter_file : public QObject {
    Q_OBJECT

    QTemporaryDir _dir;

    QString path(const QString& name) const { return _dir.filePath(name); }

    QString write_file(const QString& name, const QByteArray& text) const
    {
        QFile file(path(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("cannot write %s", qPrintable(file.fileName()));
        return file.fileName();
    }

    // The text of the std::runtime_error that loading @p file throws, or "" when it loads.
    static QString load_error(const QString& file)
    {
        try {
            load_parameters(file);
        } catch (const std::runtime_error& e) {
            return QString::fromUtf8(e.what());
        }
        return QString();
    }

    static QString save_error(const QString& file, const value_map& values)
    {
        try {
            save_parameters(file, values);
        } catch (const std::runtime_error& e) {
            return QString::fromUtf8(e.what());
        }
        return QString();
    }

    static QByteArray entry_file(const QByteArray& entries)
    {
        return "{\"format\": \"qzgui parameters\", \"version\": 1, \"parameters\": [" + entries + "]}";
    }

private slots:
    void initTestCase() { qRegisterMetaType<uint32_t>("uint32_t"); }

    void round_trip_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::newRow("invalid") << QVariant();
        QTest::newRow("false") << QVariant(false);
        QTest::newRow("true") << QVariant(true);
        QTest::newRow("int 0") << QVariant(0);
        QTest::newRow("int min") << QVariant(std::numeric_limits<int>::min());
        QTest::newRow("int max") << QVariant(std::numeric_limits<int>::max());
        QTest::newRow("uint 0") << QVariant(0u);
        QTest::newRow("uint max") << QVariant(std::numeric_limits<uint>::max());
        QTest::newRow("double 0.1") << QVariant(0.1);
        QTest::newRow("double 0") << QVariant(0.0);
        QTest::newRow("double -0") << QVariant(-0.0);
        QTest::newRow("double smallest") << QVariant(std::numeric_limits<double>::denorm_min());
        QTest::newRow("double largest") << QVariant(std::numeric_limits<double>::max());
        QTest::newRow("double lowest") << QVariant(std::numeric_limits<double>::lowest());
        QTest::newRow("double 2^53+2") << QVariant(9007199254740994.0);
        QTest::newRow("double inf") << QVariant(std::numeric_limits<double>::infinity());
        QTest::newRow("double -inf") << QVariant(-std::numeric_limits<double>::infinity());
        QTest::newRow("double nan") << QVariant(std::numeric_limits<double>::quiet_NaN());
        QTest::newRow("double nan payload") << QVariant(double_of(0xFFF0000000000123ull));
        QTest::newRow("string empty") << QVariant(QString(""));
        QTest::newRow("string every kind") << QVariant(text_with_every_kind_of_character());
        QTest::newRow("string json") << QVariant(QStringLiteral("{\"type\": \"int\"}"));
        // Qt 5's JSON parser drops U+FEFF wherever it stands unless it is escaped.
        QTest::newRow("string byte order marks") << QVariant(
            QChar(0xFEFF) + QStringLiteral("a") + QChar(0xFEFF) + QStringLiteral("\\") + QChar(0xFEFF));
        QTest::newRow("local") << QVariant(
            QDateTime(QDate(2026, 11, 23), QTime(9, 0, 0, 123), Qt::LocalTime));
        QTest::newRow("utc") << QVariant(QDateTime(QDate(2026, 3, 29), QTime(1, 30, 0, 999), Qt::UTC));
        QTest::newRow("offset east") << QVariant(
            QDateTime(QDate(2026, 7, 1), QTime(23, 59, 59, 1), Qt::OffsetFromUTC, 5 * 3600 + 1800));
        QTest::newRow("offset west") << QVariant(
            QDateTime(QDate(1970, 1, 1), QTime(0, 0), Qt::OffsetFromUTC, -(9 * 3600 + 30 * 60 + 7)));
        QTest::newRow("zone") << QVariant(QDateTime(QDate(2026, 10, 25), QTime(2, 30, 0, 500),
                                                    QTimeZone(QByteArrayLiteral("Europe/Berlin"))));
        // A zone whose id is also a clock's name in other spellings.
        QTest::newRow("zone UTC") << QVariant(
            QDateTime(QDate(2026, 1, 1), QTime(0, 0), QTimeZone(QByteArrayLiteral("UTC"))));
        QTest::newRow("year 1") << QVariant(QDateTime(QDate(1, 1, 1), QTime(0, 0, 0, 1), Qt::UTC));
        QTest::newRow("year 9999") << QVariant(
            QDateTime(QDate(9999, 12, 31), QTime(23, 59, 59, 999), Qt::UTC));
        QTest::newRow("invalid date-time") << QVariant(QDateTime());
    }

    void round_trip()
    {
        QFETCH(QVariant, value);
        const value_map values{{0x10, value}};
        const QString file = path(QStringLiteral("one.json"));
        save_parameters(file, values);
        verify_same(values, load_parameters(file));
    }

    void random_sets_round_trip()
    {
        // QZGUI_RANDOM_SEED replays a run.
        bool fixed = false;
        const quint32 given = qEnvironmentVariable("QZGUI_RANDOM_SEED").toUInt(&fixed);
        const quint32 seed = fixed ? given : QRandomGenerator::global()->generate();
        qInfo("seed %u", seed);
        std::mt19937_64 random(seed);
        const QList<QByteArray> zones = QTimeZone::availableTimeZoneIds();
        for (int round = 0; round < 20; ++round) {
            value_map values;
            for (int i = 0; i < 200; ++i) {
                const uint32_t id = uint32_t(random());
                const uint64_t r = random();
                switch (r % 7) {
                case 0:
                    values.insert(id, bool(r & 8));
                    break;
                case 1:
                    values.insert(id, int(r >> 32));
                    break;
                case 2:
                    values.insert(id, uint(r >> 32));
                    break;
                case 3:
                    values.insert(id, double_of(random()));
                    break;
                case 4: {
                    QString text;
                    for (int n = int(r >> 40) % 20; n > 0; --n)
                        text += QChar(char16_t(random()));
                    values.insert(id, text);
                    break;
                }
                case 5: {
                    // Within the years 1 to 9999 in UTC.
                    const qint64 ms = qint64(random() % 315537897600000ull) - 62135596800000ll + 86400000;
                    QDateTime t = QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC);
                    switch ((r >> 8) % 4) {
                    case 0:
                        t = t.toLocalTime();
                        break;
                    case 1:
                        t = t.toOffsetFromUtc(int((r >> 16) % 100000) - 50000);
                        break;
                    case 2:
                        if (!zones.isEmpty())
                            t = t.toTimeZone(QTimeZone(zones.at(int((r >> 16) % uint(zones.size())))));
                        break;
                    default:
                        break;
                    }
                    values.insert(id, t);
                    break;
                }
                default:
                    values.insert(id, QVariant());
                    break;
                }
            }
            const QString file = path(QStringLiteral("random.json"));
            save_parameters(file, values);
            verify_same(values, load_parameters(file));
            if (QTest::currentTestFailed())
                return;
        }
    }

    void the_file_is_readable_json()
    {
        const QString file = path(QStringLiteral("format.json"));
        save_parameters(file,
                        {{0x11, QStringLiteral("pump 1")},
                         {0x10, 5u},
                         {0x12, QDateTime(QDate(2026, 11, 23), QTime(9, 0, 0, 123), Qt::UTC)},
                         {0x13, QVariant()},
                         {0x14, -0.0}});
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QJsonObject top = QJsonDocument::fromJson(f.readAll()).object();
        QCOMPARE(top.value(QLatin1String("format")).toString(), QStringLiteral("qzgui parameters"));
        QCOMPARE(top.value(QLatin1String("version")).toInt(), 1);
        const QJsonArray list = top.value(QLatin1String("parameters")).toArray();
        QCOMPARE(list.size(), 5);
        auto entry = [&](int i) {
            return QJsonDocument(list.at(i).toObject()).toJson(QJsonDocument::Compact);
        };
        QCOMPARE(entry(0), QByteArray(R"({"id":"0x00000010","type":"uint","value":5})"));
        QCOMPARE(entry(1), QByteArray(R"({"id":"0x00000011","type":"string","value":"pump 1"})"));
        QCOMPARE(
            entry(2),
            QByteArray(
                R"({"clock":"utc","id":"0x00000012","type":"datetime","value":"2026-11-23T09:00:00.123Z"})"));
        QCOMPARE(entry(3), QByteArray(R"({"id":"0x00000013","type":"none"})"));
        QCOMPARE(entry(4), QByteArray(R"({"id":"0x00000014","type":"double","value":"0x8000000000000000"})"));
    }

    void ids_may_be_numbers_or_decimal_texts()
    {
        const QString file =
            write_file(QStringLiteral("ids.json"), entry_file(R"({"id": 16, "type": "int", "value": -3},
                                                      {"id": "17", "type": "bool", "value": true},
                                                      {"id": "0xFFFFFFFF", "type": "none"})"));
        verify_same({{16, -3}, {17, true}, {0xFFFFFFFF, QVariant()}}, load_parameters(file));
    }

    void a_byte_order_mark_in_a_string_is_part_of_the_value()
    {
        // Written by another tool: a mark that starts the file, and raw marks inside strings.
        const QString file = write_file(
            QStringLiteral("marks.json"),
            "\xEF\xBB\xBF"
                + entry_file(
                    "{\"id\": 1, \"type\": \"string\", \"value\": \"\xEF\xBB\xBFx\\\\\xEF\xBB\xBF\"}"));
        verify_same({{1, QChar(0xFEFF) + QStringLiteral("x\\") + QChar(0xFEFF)}}, load_parameters(file));
    }

    void load_errors_name_the_file_and_the_place_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("fault");
        QTest::newRow("not json") << QByteArray("{\"format\": \"qzgui parameters\",\n  \"version\" 1}")
                                  << QStringLiteral("line 2, column 14: not JSON: ");
        QTest::newRow("not json after marks") << QByteArray(
            "\xEF\xBB\xBF{\"format\": \"\xEF\xBB\xBFqzgui\xEF\xBB\xBF\",\n  \"\xEF\xBB\xBF\" 1}")
                                              << QStringLiteral("line 2, column 10: not JSON: ");
        QTest::newRow("a mark escaped") << QByteArray("{\"format\": \"\\\xEF\xBB\xBF\"}")
                                        << QStringLiteral("line 1, column 15: not JSON: ");
        QTest::newRow("empty") << QByteArray() << QStringLiteral("line 1, column 1: not JSON: ");
        QTest::newRow("a list") << QByteArray("[]") << QStringLiteral("not a parameter file");
        QTest::newRow("other format") << QByteArray(R"({"format": "other", "version": 1, "parameters": []})")
                                      << QStringLiteral("not a parameter file");
        QTest::newRow("newer version")
            << QByteArray(R"({"format": "qzgui parameters", "version": 2, "parameters": []})")
            << QStringLiteral("version 2 cannot be read; this library reads version 1");
        QTest::newRow("no version") << QByteArray(R"({"format": "qzgui parameters", "parameters": []})")
                                    << QStringLiteral("the file has no version number");
        QTest::newRow("no list") << QByteArray(
            R"({"format": "qzgui parameters", "version": 1, "parameters": {}})")
                                 << QStringLiteral("\"parameters\" is not a list");
        QTest::newRow("not an object") << entry_file("{\"id\": 1, \"type\": \"none\"}, 5")
                                       << QStringLiteral("parameter 2: not an object");
        const QString bad_id = QStringLiteral(
            "parameter 1: \"id\" is not a 32-bit unsigned id in decimal or with \"0x\" in hexadecimal");
        QTest::newRow("no id") << entry_file(R"({"type": "none"})") << bad_id;
        QTest::newRow("bad hex id") << entry_file(R"({"id": "0x1g", "type": "none"})") << bad_id;
        QTest::newRow("negative id") << entry_file(R"({"id": -1, "type": "none"})") << bad_id;
        QTest::newRow("id 2^32") << entry_file(R"({"id": 4294967296, "type": "none"})") << bad_id;
        QTest::newRow("fraction id") << entry_file(R"({"id": 1.5, "type": "none"})") << bad_id;
        QTest::newRow("repeated id")
            << entry_file(R"({"id": 16, "type": "none"}, {"id": "0x10", "type": "none"})")
            << QStringLiteral("parameter 2 (id 0x00000010): the id appears a second time");
        QTest::newRow("unknown type")
            << entry_file(R"({"id": 1, "type": "blob", "value": 1})")
            << QStringLiteral("parameter 1 (id 0x00000001): unknown value type \"blob\"");
        QTest::newRow("no type") << entry_file(R"({"id": 1, "value": 1})")
                                 << QStringLiteral(
                                        "parameter 1 (id 0x00000001): the entry has no value type");
        QTest::newRow("bool as text")
            << entry_file(R"({"id": 1, "type": "bool", "value": "yes"})")
            << QStringLiteral("parameter 1 (id 0x00000001): the value is not true or false");
        QTest::newRow("int fraction")
            << entry_file(R"({"id": 1, "type": "int", "value": 2.5})")
            << QStringLiteral("parameter 1 (id 0x00000001): the value is not a whole number "
                              "from -2147483648 to 2147483647");
        QTest::newRow("int too big") << entry_file(R"({"id": 1, "type": "int", "value": 2147483648})")
                                     << QStringLiteral(
                                            "parameter 1 (id 0x00000001): the value is not a whole number "
                                            "from -2147483648 to 2147483647");
        QTest::newRow("uint negative")
            << entry_file(R"({"id": 1, "type": "uint", "value": -1})")
            << QStringLiteral("parameter 1 (id 0x00000001): the value is not a whole "
                              "number from 0 to 4294967295");
        QTest::newRow("double text") << entry_file(R"({"id": 1, "type": "double", "value": "0x7ff8"})")
                                     << QStringLiteral(
                                            "parameter 1 (id 0x00000001): the value is neither a number "
                                            "nor \"0x\" and 16 hexadecimal digits");
        QTest::newRow("double signed bits")
            << entry_file(R"({"id": 1, "type": "double", "value": "0x-ff0000000000001"})")
            << QStringLiteral("parameter 1 (id 0x00000001): the value is neither a "
                              "number nor \"0x\" and 16 hexadecimal digits");
        QTest::newRow("string number")
            << entry_file(R"({"id": 1, "type": "string", "value": 5})")
            << QStringLiteral("parameter 1 (id 0x00000001): the value is not a string");
        const QString bad_time = QStringLiteral("parameter 1 (id 0x00000001): the value is not a date-time "
                                                "in UTC such as \"2026-11-23T09:00:00.123Z\"");
        QTest::newRow("datetime text")
            << entry_file(R"({"id": 1, "type": "datetime", "value": "soon", "clock": "utc"})") << bad_time;
        QTest::newRow("datetime local text") << entry_file(
            R"({"id": 1, "type": "datetime", "value": "2026-11-23T09:00:00.123", "clock": "utc"})")
                                             << bad_time;
        QTest::newRow("unknown clock")
            << entry_file(
                   R"({"id": 1, "type": "datetime", "value": "2026-11-23T09:00:00.123Z", "clock": "UTC"})")
            << QStringLiteral("parameter 1 (id 0x00000001): the clock \"UTC\" is not \"local\", \"utc\", "
                              "\"offset\" or \"zone\"");
        QTest::newRow("unknown zone") << entry_file(
            R"({"id": 1, "type": "datetime", "value": "2026-11-23T09:00:00.123Z", "clock": "zone", "zone": "Mars/Olympus"})")
                                      << QStringLiteral("parameter 1 (id 0x00000001): the zone "
                                                        "\"Mars/Olympus\" is not a known time zone");
        QTest::newRow("offset too far") << entry_file(
            R"({"id": 1, "type": "datetime", "value": "2026-11-23T09:00:00.123Z", "clock": "offset", "offset": 90000})")
                                        << QStringLiteral("parameter 1 (id 0x00000001): the value is not a "
                                                          "whole number from -86400 to 86400");
    }

    void load_errors_name_the_file_and_the_place()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, fault);
        const QString file = write_file(QStringLiteral("bad.json"), text);
        const QString error = load_error(file);
        const QString expected = QDir::toNativeSeparators(file) + QStringLiteral(": ") + fault;
        QVERIFY2(error.startsWith(expected), qPrintable(error));
    }

    void a_missing_file_is_an_error()
    {
        const QString file = path(QStringLiteral("missing.json"));
        QVERIFY(load_error(file).startsWith(file + QStringLiteral(": cannot be read: ")));
    }

    void a_directory_is_an_error()
    {
        const QString dir = path(QStringLiteral("a_directory"));
        QVERIFY(QDir().mkpath(dir));
        QVERIFY(load_error(dir).startsWith(dir + QStringLiteral(": cannot be read: ")));
        const QString error = save_error(dir, {{1, 1}});
        QVERIFY2(error.startsWith(dir + QStringLiteral(": cannot be written: ")), qPrintable(error));
        QVERIFY(QFileInfo(dir).isDir());
    }

    void a_truncated_file_loads_nothing()
    {
        const QString file = path(QStringLiteral("whole.json"));
        value_map values;
        for (uint32_t id = 0; id < 50; ++id)
            values.insert(id, QStringLiteral("value %1").arg(id));
        save_parameters(file, values);
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray whole = f.readAll();
        for (int cut : {1, int(whole.size()) / 3, int(whole.size()) / 2, int(whole.size()) - 2}) {
            const QString part = write_file(QStringLiteral("part.json"), whole.left(cut));
            const QString error = load_error(part);
            QVERIFY2(error.contains(QStringLiteral(": not JSON: ")), qPrintable(error));
        }
    }

    void a_file_beyond_the_size_bound_is_refused()
    {
        const QString file = write_file(QStringLiteral("huge.json"), entry_file(""));
        QFile f(file);
        QVERIFY(f.resize(64 * 1024 * 1024 + 1)); // sparse: costs no disk
        QCOMPARE(load_error(file), file + QStringLiteral(": is larger than 64 MiB"));
    }

    void a_value_of_another_type_is_not_saved()
    {
        const QString file = path(QStringLiteral("kept.json"));
        save_parameters(file, {{1, 1}});
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray before = f.readAll();
        f.close();

        QCOMPARE(save_error(file, {{1, 2}, {0xAB, QByteArray("raw")}}),
                 file + QStringLiteral(": parameter 0x000000AB: values of type QByteArray cannot be saved"));
        QCOMPARE(
            save_error(file, {{7, QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC)}}),
            file + QStringLiteral(": parameter 0x00000007: the date-time  lies outside the years 1 to 9999"));
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), before);
        // No temporary file of the failed saves is left behind.
        QCOMPARE(QDir(_dir.path()).entryList({QStringLiteral("kept*")}, QDir::Files),
                 QStringList{QStringLiteral("kept.json")});
    }

    void a_save_into_a_missing_directory_is_an_error()
    {
        const QString file = path(QStringLiteral("no/such/dir/p.json"));
        QVERIFY(save_error(file, {{1, 1}}).startsWith(file + QStringLiteral(": cannot be written: ")));
    }

    void read_form_values_gives_what_collecting_gives()
    {
        bound_form form;
        const value_map values = read_form_values(form.bindings.widgets);
        const Ui::bound_form& ui = form.ui;
        verify_same({{16, 0},
                     {0x11, QString()},
                     {18, false},
                     {0x13, 0},
                     {32, 0.0},
                     {33, QVariant()},
                     {34, ui.day->dateTime()},
                     {35, ui.at->dateTime()},
                     {36, ui.stamp->dateTime()}},
                    values);
    }

    void applied_values_become_pending_user_changes()
    {
        bound_form form;
        form.show();
        ui_controller& controller = *form.controller;
        QSignalSpy edits(&controller, &ui_controller::on_data_changed);
        QSignalSpy clicks(form.ui.enabled, &QCheckBox::clicked);
        const QDateTime stamp(QDate(2027, 5, 6), QTime(7, 8, 9, 10));
        const value_map loaded{
            {16, 250},                     // differs
            {0x11, QString()},             // as shown
            {18, true},                    // a check box
            {0x13, 0},                     // as shown
            {32, 12.5},                    // differs
            {33, 20u},                     // selects the item with data 20
            {36, stamp},                   // differs
            {37, QStringLiteral("label")}, // a label: left alone
            {0x99, 1},                     // not bound
            {0x98, QVariant()},            // not bound
        };
        const QVector<uint32_t> unbound = apply_as_changes(controller, form.bindings.widgets, loaded);
        QCOMPARE(unbound, (QVector<uint32_t>{0x98, 0x99}));

        QVector<QPair<uint32_t, QVariant>> changed;
        controller.collect_changed_params(changed);
        const QVector<QPair<uint32_t, QVariant>> expected{
            {16, 250}, {18, true}, {32, 12.5}, {33, 20u}, {36, stamp}};
        QCOMPARE(changed, expected);
        QCOMPARE(clicks.count(), 1);
        QCOMPARE(clicks.at(0).at(0).toBool(), true);
        QCOMPARE(form.ui.mode->currentText(), QStringLiteral("slow"));
        QVERIFY(form.ui.serial->text().isEmpty());
        for (uint32_t id : {16u, 18u, 32u, 33u, 36u})
            QVERIFY2(form.bindings.hints.value(id)->font().underline(), qPrintable(QString::number(id)));
        for (uint32_t id : {0x11u, 0x13u, 34u, 35u})
            QVERIFY2(!form.bindings.hints.value(id)->font().underline(), qPrintable(QString::number(id)));
        QVERIFY(edits.count() >= 5);
        QVERIFY(!controller.get_loading_data());
    }

    void applying_what_the_form_shows_changes_nothing()
    {
        bound_form form;
        QSignalSpy edits(form.controller.get(), &ui_controller::on_data_changed);
        QVERIFY(
            apply_as_changes(*form.controller, form.bindings.widgets, read_form_values(form.bindings.widgets))
                .isEmpty());
        QCOMPARE(edits.count(), 0);
        QVERIFY(!form.controller->has_changed_parameters());
    }

    void applying_lifts_the_loading_flag_and_restores_it()
    {
        bound_form form;
        form.controller->set_loading_data(true);
        apply_as_changes(*form.controller, form.bindings.widgets, {{16, 7}, {18, true}});
        QVERIFY(form.controller->get_loading_data());
        QVector<QPair<uint32_t, QVariant>> changed;
        form.controller->collect_changed_params(changed);
        QCOMPARE(changed, (QVector<QPair<uint32_t, QVariant>>{{16, 7}, {18, true}}));
    }

    void an_invalid_value_unselects_a_combo_box()
    {
        bound_form form;
        form.ui.mode->setCurrentIndex(2);
        apply_as_changes(*form.controller, form.bindings.widgets, {{33, QVariant()}});
        QCOMPARE(form.ui.mode->currentIndex(), -1);
        QVector<QPair<uint32_t, QVariant>> changed;
        form.controller->collect_changed_params(changed);
        QCOMPARE(changed, (QVector<QPair<uint32_t, QVariant>>{{33, QVariant()}}));
    }

    void items_sharing_a_text_still_report_the_edit()
    {
        bound_form form;
        form.ui.mode->setItemText(1, QStringLiteral("off"));
        form.ui.mode->setCurrentIndex(0);
        apply_as_changes(*form.controller, form.bindings.widgets, {{33, 20u}});
        QCOMPARE(form.ui.mode->currentIndex(), 1);
        QVERIFY(form.controller->has_changed_parameters());
    }

    void a_form_saved_and_loaded_into_another_form_matches()
    {
        bound_form source;
        source.ui.gain->setValue(999);
        source.ui.name->setText(text_with_every_kind_of_character());
        source.ui.enabled->setChecked(true);
        source.ui.address->setValue(0xBEEF);
        source.ui.speed->setValue(3.125);
        source.ui.mode->setCurrentIndex(2);
        source.ui.stamp->setDateTime(QDateTime(QDate(2031, 12, 31), QTime(23, 59, 58, 997)));
        const QString file = path(QStringLiteral("form.json"));
        save_parameters(file, read_form_values(source.bindings.widgets));

        bound_form target;
        QVERIFY(
            apply_as_changes(*target.controller, target.bindings.widgets, load_parameters(file)).isEmpty());
        verify_same(read_form_values(source.bindings.widgets), read_form_values(target.bindings.widgets));
        QVector<QPair<uint32_t, QVariant>> changed;
        target.controller->collect_changed_params(changed);
        QVector<uint32_t> ids;
        for (const auto& change : changed)
            ids.append(change.first);
        std::sort(ids.begin(), ids.end());
        QCOMPARE(ids, (QVector<uint32_t>{16, 0x11, 18, 0x13, 32, 33, 36}));
    }
};

QTEST_MAIN(tst_parameter_file)
#include "tst_parameter_file.moc"
