// SPDX-License-Identifier: BSD-3-Clause
// Register maps: loading real files, every loader error, and the encoding of each value type.
#include "qzgui/modbus/register_map.h"

#include "qzgui/form_builder.h"
#include "qzgui/form_scan.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QWidget>
#include <qzgui/printable_text.h>

#include <QtTest>

#include <cmath>
#include <stdexcept>

using namespace qz::modbus;

using words = QVector<uint16_t>;
Q_DECLARE_METATYPE(words)

namespace {

QByteArray map_text(const QByteArray& parameters)
{
    return "{\"version\": 1, \"parameters\": [" + parameters + "]}";
}

register_entry_t entry(value_type_e type, table_e table = holding, int size = 0)
{
    register_entry_t e;
    e.type = type;
    e.table = table;
    e.size = size ? size : (type == type_int32 || type == type_uint32 || type == type_float32 ? 2 : 1);
    return e;
}

} // namespace

class tst_register_map : public QObject {
    Q_OBJECT

    QTemporaryDir _dir;

    QString write_map(const QByteArray& text)
    {
        const QString path = _dir.filePath(QStringLiteral("map.json"));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
            qFatal("cannot write %s", qPrintable(path));
        return path;
    }

    static QString load_error(const QString& path)
    {
        try {
            register_map::load(path);
        } catch (const std::runtime_error& e) {
            return QString::fromUtf8(e.what());
        }
        return QString();
    }

private slots:
    void loads_every_kind_of_entry()
    {
        const QString path = write_map(map_text(R"(
            {"id": "0x0010", "name": "Gain", "table": "holding", "address": 0, "type": "uint16", "initial": 42},
            {"id": 17, "table": "holding", "address": 1, "type": "float32", "word_order": "little", "initial": 1.5},
            {"id": "18", "table": "input", "address": 0, "type": "int32", "scale": 0.01},
            {"id": "0xFFFFFFFF", "table": "coil", "address": 65535, "type": "bool", "initial": true},
            {"id": 5, "table": "discrete", "address": 7, "type": "bool"},
            {"id": 6, "table": "holding", "address": 3, "type": "string", "registers": 4, "initial": "pump 1", "read_only": true}
        )"));
        const register_map map = register_map::load(path);
        QCOMPARE(map.ids(), (QVector<uint32_t>{0x10, 17, 18, 0xFFFFFFFF, 5, 6}));
        const register_entry_t* gain = map.find(0x10);
        QVERIFY(gain);
        QCOMPARE(gain->name, QStringLiteral("Gain"));
        QCOMPARE(gain->initial, QVariant(42u));
        QVERIFY(!gain->read_only);
        QVERIFY(map.find(17)->little_word_order);
        QCOMPARE(map.find(17)->size, 2);
        QCOMPARE(map.find(17)->initial, QVariant(1.5));
        QVERIFY(map.find(18)->read_only); // input registers always are
        QCOMPARE(*map.find(18)->scale, 0.01);
        QCOMPARE(map.find(0xFFFFFFFF)->address, uint16_t(65535));
        QCOMPARE(map.find(0xFFFFFFFF)->initial, QVariant(true));
        QVERIFY(map.find(5)->read_only); // discrete inputs always are
        QCOMPARE(map.find(6)->size, 4);
        QVERIFY(map.find(6)->read_only);
        QCOMPARE(map.find(6)->initial, QVariant(QStringLiteral("pump 1")));
        QVERIFY(!map.find(7));
    }

    void load_errors_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("fault");
        const auto one = [](const char* fields) {
            return map_text(QByteArray("{\"id\": 16, ") + fields + "}");
        };
        QTest::newRow("not json") << QByteArray("{\"version\": 1,\n \"parameters\": [}")
                                  << "line 2, column 18: not JSON: ";
        QTest::newRow("no version") << QByteArray("{\"parameters\": []}") << "not a register map";
        QTest::newRow("other version") << QByteArray("{\"version\": 2, \"parameters\": []}")
                                       << "version 2 cannot be read; this library reads version 1";
        QTest::newRow("no list") << QByteArray("{\"version\": 1}") << "\"parameters\" is not a list";
        // A key the format does not know is an error, with the nearest known key where one is close.
        QTest::newRow("unknown top key") << QByteArray("{\"version\": 1, \"paramaters\": []}")
                                         << "\"paramaters\" is not a key of a register map (did you mean "
                                            "\"parameters\"?)";
        QTest::newRow("word order misspelt")
            << one(R"("table": "holding", "address": 0, "type": "float32", "word_ordre": "little")")
            << "parameter 1 (id 0x0010): \"word_ordre\" is not a key of a parameter (did you mean "
               "\"word_order\"?)";
        QTest::newRow("readonly") << one(
            R"("table": "holding", "address": 0, "type": "uint16", "readonly": true)")
                                  << "parameter 1 (id 0x0010): \"readonly\" is not a key of a parameter (did "
                                     "you mean \"read_only\"?)";
        QTest::newRow("unknown key") << one(
            R"("table": "holding", "address": 0, "type": "uint16", "colour": 1)")
                                     << "parameter 1 (id 0x0010): \"colour\" is not a key of a parameter";
        QTest::newRow("no address") << one(R"("table": "holding", "type": "uint16")")
                                    << "parameter 1 (id 0x0010): \"address\" is missing";
        QTest::newRow("no id") << map_text(R"({"table": "holding", "address": 0, "type": "uint16"})")
                               << "parameter 1: \"id\" is missing";
        QTest::newRow("bad id") << map_text(
            R"({"id": "0x1g", "table": "coil", "address": 0, "type": "bool"})")
                                << "parameter 1: \"id\" is not a 32-bit unsigned id";
        QTest::newRow("repeated id") << map_text(R"({"id": 16, "table": "coil", "address": 0, "type": "bool"},
                           {"id": "0x10", "table": "coil", "address": 1, "type": "bool"})")
                                     << "parameter 2 (id 0x0010): the id appears a second time";
        QTest::newRow("unknown table")
            << one(R"("table": "register", "address": 0, "type": "uint16")")
            << "parameter 1 (id 0x0010): \"table\" is not coil, discrete, input or holding";
        QTest::newRow("unknown type") << one(R"("table": "holding", "address": 0, "type": "uint8")")
                                      << "parameter 1 (id 0x0010): \"type\" is not bool, int16";
        QTest::newRow("bool in registers")
            << one(R"("table": "holding", "address": 0, "type": "bool")")
            << "parameter 1 (id 0x0010): a bool lives in a coil or discrete table, "
               "not in the holding table";
        QTest::newRow("number in coils")
            << one(R"("table": "coil", "address": 0, "type": "uint16")")
            << "parameter 1 (id 0x0010): a coil table holds bits: its type is bool";
        QTest::newRow("address too big") << one(R"("table": "holding", "address": 65536, "type": "uint16")")
                                         << "parameter 1 (id 0x0010): \"address\" is not a whole number";
        QTest::newRow("past the end") << one(R"("table": "holding", "address": 65535, "type": "uint32")")
                                      << "parameter 1 (id 0x0010): it reaches past address 65535";
        QTest::newRow("string past the end")
            << one(R"("table": "input", "address": 65530, "type": "string", "registers": 7)")
            << "parameter 1 (id 0x0010): it reaches past address 65535";
        QTest::newRow("string without size") << one(R"("table": "holding", "address": 0, "type": "string")")
                                             << "parameter 1 (id 0x0010): a string needs \"registers\"";
        QTest::newRow("string longer than one write")
            << one(R"("table": "holding", "address": 0, "type": "string", "registers": 124)")
            << "parameter 1 (id 0x0010): a string needs \"registers\", a whole number from 1 to 123";
        QTest::newRow("registers for a number")
            << one(R"("table": "holding", "address": 0, "type": "uint16", "registers": 2)")
            << "parameter 1 (id 0x0010): \"registers\" is for strings only";
        QTest::newRow("word order on 16 bits")
            << one(R"("table": "holding", "address": 0, "type": "int16", "word_order": "little")")
            << "parameter 1 (id 0x0010): \"word_order\" is for 32-bit types only";
        QTest::newRow("unknown word order")
            << one(R"("table": "holding", "address": 0, "type": "int32", "word_order": "middle")")
            << "parameter 1 (id 0x0010): \"word_order\" is not big or little";
        QTest::newRow("zero scale") << one(R"("table": "holding", "address": 0, "type": "int16", "scale": 0)")
                                    << "parameter 1 (id 0x0010): \"scale\" is not a number other than 0";
        QTest::newRow("scaled bool") << one(R"("table": "coil", "address": 0, "type": "bool", "scale": 2)")
                                     << "parameter 1 (id 0x0010): \"scale\" is for numbers only";
        QTest::newRow("initial out of range")
            << one(R"("table": "holding", "address": 0, "type": "int16", "initial": 40000)")
            << "parameter 1 (id 0x0010): \"initial\" does not fit: int16 takes whole numbers from -32768 to "
               "32767";
        QTest::newRow("initial fraction")
            << one(R"("table": "holding", "address": 0, "type": "uint16", "initial": 1.5)")
            << "parameter 1 (id 0x0010): \"initial\" does not fit: uint16 takes whole numbers from 0 to "
               "65535";
        QTest::newRow("initial between steps")
            << one(R"("table": "holding", "address": 0, "type": "uint16", "scale": 0.001, "initial": 1.2345)")
            << "parameter 1 (id 0x0010): \"initial\" does not fit: scale 0.001 holds 1.234 and 1.235 "
               "nearest, "
               "not 1.2345";
        QTest::newRow("initial too long")
            << one(R"("table": "holding", "address": 0, "type": "string", "registers": 1, "initial": "abc")")
            << "parameter 1 (id 0x0010): \"initial\" does not fit: a string of 1 registers holds at most 2 "
               "Latin-1 characters";
        QTest::newRow("initial of another type")
            << one(R"("table": "coil", "address": 0, "type": "bool", "initial": "on")")
            << "parameter 1 (id 0x0010): \"initial\" does not fit: bool is not a JSON true or false";
        QTest::newRow("overlap")
            << map_text(R"({"id": 1, "table": "holding", "address": 10, "type": "uint32"},
                           {"id": 2, "table": "input", "address": 11, "type": "uint16"},
                           {"id": 3, "table": "holding", "address": 11, "type": "uint16"})")
            << "parameter 3 (id 0x0003): it overlaps parameter 1 (id 0x0001) in the holding table";
        const auto hinted = [&](const char* type, const char* hints) {
            return one(
                (QByteArray("\"table\": \"holding\", \"address\": 0, \"type\": \"") + type + "\", " + hints)
                    .constData());
        };
        QTest::newRow("minimum above maximum")
            << hinted("int16", R"("minimum": 5, "maximum": 4)")
            << "parameter 1 (id 0x0010): \"minimum\" 5 is above \"maximum\" 4";
        QTest::newRow("bound the type cannot hold") << hinted("uint16", R"("minimum": -1)")
                                                    << "parameter 1 (id 0x0010): \"minimum\" cannot be held: "
                                                       "uint16 takes whole numbers from 0 to 65535";
        QTest::newRow("bound between steps") << hinted("int16", R"("scale": 0.1, "maximum": 0.05)")
                                             << "parameter 1 (id 0x0010): \"maximum\" cannot be held: ";
        QTest::newRow("bound of a string") << hinted("int16", R"("maximum": "40")")
                                           << "parameter 1 (id 0x0010): \"maximum\" is not a number";
        QTest::newRow("bound of a bool")
            << one(R"("table": "coil", "address": 0, "type": "bool", "maximum": 1)")
            << "parameter 1 (id 0x0010): \"maximum\" is for numbers only";
        QTest::newRow("choice the type cannot hold")
            << hinted("uint16", R"("choices": [{"value": 70000, "text": "Far"}])")
            << "parameter 1 (id 0x0010): choice 1 cannot be held: uint16 takes whole numbers from 0 to 65535";
        QTest::newRow("two choices, one value")
            << hinted("uint16", R"("choices": [{"value": 1, "text": "On"}, {"value": 1, "text": "Also on"}])")
            << "parameter 1 (id 0x0010): choice 2 has the value of an earlier one, 1";
        QTest::newRow("choice without text") << hinted("uint16", R"("choices": [{"value": 1}])")
                                             << "parameter 1 (id 0x0010): choice 1 has no text";
        QTest::newRow("choice with empty text")
            << hinted("uint16", R"("choices": [{"value": 1, "text": ""}])")
            << "parameter 1 (id 0x0010): choice 1 has no text";
        QTest::newRow("choice with another key")
            << hinted("uint16", R"("choices": [{"value": 1, "text": "On", "colour": "red"}])")
            << "parameter 1 (id 0x0010): \"colour\" is not a key of a choice";
        QTest::newRow("choices not a list") << hinted("uint16", R"("choices": {"value": 1, "text": "On"})")
                                            << "parameter 1 (id 0x0010): \"choices\" is not a list";
        QTest::newRow("choices of a float")
            << hinted("float32", R"("choices": [{"value": 1, "text": "On"}])")
            << "parameter 1 (id 0x0010): \"choices\" are for integers without scale";
        QTest::newRow("choice outside the bounds")
            << hinted("uint16", R"("maximum": 5, "choices": [{"value": 6, "text": "Six"}])")
            << "parameter 1 (id 0x0010): choice 1: 6 is above the maximum 5";
        QTest::newRow("decimals past 10")
            << hinted("float32", R"("decimals": 11)")
            << "parameter 1 (id 0x0010): \"decimals\" is not a whole number from 0 to 10";
        QTest::newRow("decimals below 0")
            << hinted("float32", R"("decimals": -1)")
            << "parameter 1 (id 0x0010): \"decimals\" is not a whole number from 0 to 10";
        QTest::newRow("decimals of an integer")
            << hinted("int16", R"("decimals": 2)")
            << "parameter 1 (id 0x0010): \"decimals\" are for float32 and scaled values";
        QTest::newRow("step of zero") << hinted("int16", R"("step": 0)")
                                      << "parameter 1 (id 0x0010): \"step\" is not a number above zero";
        QTest::newRow("step below zero") << hinted("float32", R"("step": -0.5)")
                                         << "parameter 1 (id 0x0010): \"step\" is not a number above zero";
        QTest::newRow("hex on a scaled value")
            << hinted("uint16", R"("scale": 2, "format": "hex")")
            << "parameter 1 (id 0x0010): \"format\": \"hex\" is for integers without scale";
        QTest::newRow("hex on a float")
            << hinted("float32", R"("format": "hex")")
            << "parameter 1 (id 0x0010): \"format\": \"hex\" is for integers without scale";
        QTest::newRow("another format") << hinted("uint16", R"("format": "octal")")
                                        << "parameter 1 (id 0x0010): \"format\" is not \"hex\"";
        QTest::newRow("unit not a string")
            << hinted("uint16", R"("unit": 5)") << "parameter 1 (id 0x0010): \"unit\" is not a string";
        QTest::newRow("group not a string") << hinted("uint16", R"("group": ["Radio"])")
                                            << "parameter 1 (id 0x0010): \"group\" is not a string";
        QTest::newRow("description not a string")
            << hinted("uint16", R"("description": true)")
            << "parameter 1 (id 0x0010): \"description\" is not a string";
        QTest::newRow("initial outside the bounds")
            << hinted("int16", R"("maximum": 40, "initial": 41)")
            << "parameter 1 (id 0x0010): \"initial\" is not allowed: 41 is "
               "above the maximum 40";
        QTest::newRow("misspelt hint")
            << hinted("int16", R"("maximun": 40)")
            << "parameter 1 (id 0x0010): \"maximun\" is not a key of a parameter (did you "
               "mean \"maximum\"?)";
        QTest::newRow("string overlap")
            << map_text(R"({"id": 1, "table": "holding", "address": 20, "type": "uint16"},
                           {"id": 2, "table": "holding", "address": 16, "type": "string", "registers": 5})")
            << "parameter 2 (id 0x0002): it overlaps parameter 1 (id 0x0001) in the holding table";
    }

    void load_errors()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, fault);
        const QString path = write_map(text);
        const QString error = load_error(path);
        QVERIFY2(error.startsWith(QDir::toNativeSeparators(path) + QStringLiteral(": ") + fault),
                 qPrintable(error));
    }

    void hints_are_loaded_and_described()
    {
        const QString path = write_map(map_text(R"(
            {"id": 1, "name": "Gain", "table": "holding", "address": 0, "type": "int16", "unit": "dB",
             "group": "Radio", "description": "Receive gain", "minimum": -10, "maximum": 40, "step": 2},
            {"id": 2, "name": "Mode", "table": "holding", "address": 1, "type": "uint16", "group": "Radio",
             "choices": [{"value": 0, "text": "Idle"}, {"value": 2, "text": "Transmit"}]},
            {"id": 3, "table": "holding", "address": 2, "type": "uint32", "scale": 0.001, "unit": "MHz",
             "minimum": 430, "maximum": 440, "decimals": 3},
            {"id": 4, "table": "holding", "address": 4, "type": "uint16", "format": "hex"},
            {"id": 5, "table": "holding", "address": 5, "type": "int16", "scale": -0.5},
            {"id": 6, "table": "holding", "address": 6, "type": "uint32"},
            {"id": 7, "table": "input", "address": 0, "type": "float32"},
            {"id": 8, "table": "holding", "address": 8, "type": "string", "registers": 3},
            {"id": 9, "table": "coil", "address": 0, "type": "bool"},
            {"id": 10, "table": "holding", "address": 11, "type": "int32", "format": "hex"})"));
        register_map map;
        try {
            map = register_map::load(path);
        } catch (const std::exception& e) {
            QFAIL(e.what());
        }
        const register_entry_t& gain = *map.find(1);
        QCOMPARE(gain.unit, QStringLiteral("dB"));
        QCOMPARE(gain.group, QStringLiteral("Radio"));
        QCOMPARE(gain.description, QStringLiteral("Receive gain"));
        QCOMPARE(gain.minimum, QVariant(-10));
        QCOMPARE(gain.maximum, QVariant(40));
        QCOMPARE(gain.step, 2.0);

        const QVector<qz::gui::parameter_description> all = map.descriptions();
        QCOMPARE(all.size(), 10);
        QCOMPARE(all[0].id, 1u);
        QCOMPARE(all[0].type, int(QMetaType::Int));
        QCOMPARE(all[0].name, QStringLiteral("Gain"));
        QCOMPARE(all[0].minimum, QVariant(-10));
        QCOMPARE(all[0].maximum, QVariant(40));
        QCOMPARE(all[1].type, int(QMetaType::UInt));
        QCOMPARE(all[1].choices.size(), 2);
        QCOMPARE(all[1].choices[1].first, QVariant(2u));
        QCOMPARE(all[1].choices[1].first.userType(), int(QMetaType::UInt));
        QCOMPARE(all[1].choices[1].second, QStringLiteral("Transmit"));
        // Scaled: a double, in the parameter's units, stepping by the scale unless told otherwise.
        QCOMPARE(all[2].type, int(QMetaType::Double));
        QCOMPARE(all[2].minimum, QVariant(430.0));
        QCOMPARE(all[2].maximum, QVariant(440.0));
        QCOMPARE(all[2].decimals, 3);
        QCOMPARE(all[2].step, 0.001);
        QCOMPARE(all[2].unit, QStringLiteral("MHz"));
        QVERIFY(all[3].hexadecimal);
        QCOMPARE(all[3].minimum, QVariant(0u));
        QCOMPARE(all[3].maximum, QVariant(65535u));
        // Without bounds, the encoding's: a negative scale turns the raw range round.
        QCOMPARE(all[4].minimum, QVariant(-16383.5));
        QCOMPARE(all[4].maximum, QVariant(16384.0));
        QCOMPARE(all[4].step, 0.5);
        QCOMPARE(all[5].minimum, QVariant(0u));
        QCOMPARE(all[5].maximum, QVariant(4294967295u));
        QCOMPARE(all[6].type, int(QMetaType::Double));
        // A float32's bounds, as its values: the shortest decimals of the largest floats.
        QCOMPARE(all[6].maximum, QVariant(3.4028235e38));
        QCOMPARE(all[6].minimum, QVariant(-3.4028235e38));
        QVERIFY(all[6].read_only);
        QCOMPARE(all[7].type, int(QMetaType::QString));
        QCOMPARE(all[7].max_length, 6);
        QCOMPARE(all[8].type, int(QMetaType::Bool));
        QCOMPARE(all[9].type, int(QMetaType::Int));
        QCOMPARE(all[9].minimum, QVariant(std::numeric_limits<int>::min()));

        // The form a map describes builds, and binds every parameter.
        std::unique_ptr<QWidget> form;
        try {
            form.reset(qz::gui::build_form(all));
        } catch (const std::exception& e) {
            QFAIL(e.what());
        }
        QCOMPARE(qz::gui::scan_form(form.get()).widgets.keys(), map.ids().toList());
    }

    void hints_keep_typed_values_data()
    {
        QTest::addColumn<uint>("id");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("fault");
        QTest::newRow("choice by text") << 2u << "Transmit" << QVariant(2u) << QString();
        QTest::newRow("choice by value") << 2u << "0" << QVariant(0u) << QString();
        QTest::newRow("not a choice")
            << 2u << "1" << QVariant() << "1 is not one of the choices: 0 (Idle), 2 (Transmit)";
        QTest::newRow("text of no choice") << 2u << "Beacon" << QVariant() << "not a number";
        QTest::newRow("at the maximum") << 1u << "40" << QVariant(40) << QString();
        QTest::newRow("above the maximum") << 1u << "41" << QVariant() << "41 is above the maximum 40";
        QTest::newRow("below the minimum") << 1u << "-11" << QVariant() << "-11 is below the minimum -10";
        QTest::newRow("scaled, past the maximum")
            << 3u << "440.001" << QVariant() << "440.001 is above the maximum 440";
        QTest::newRow("scaled, within") << 3u << "433.92" << QVariant(433.92) << QString();
    }

    void hints_keep_typed_values()
    {
        QFETCH(uint, id);
        QFETCH(QString, text);
        QFETCH(QVariant, value);
        QFETCH(QString, fault);
        const register_map map = register_map::load(write_map(map_text(R"(
            {"id": 1, "table": "holding", "address": 0, "type": "int16", "minimum": -10, "maximum": 40},
            {"id": 2, "table": "holding", "address": 1, "type": "uint16",
             "choices": [{"value": 0, "text": "Idle"}, {"value": 2, "text": "Transmit"}]},
            {"id": 3, "table": "holding", "address": 2, "type": "uint32", "scale": 0.001, "minimum": 430,
             "maximum": 440})")));
        QString why;
        const std::optional<QVariant> parsed = map.find(id)->parse(text, &why);
        QCOMPARE(parsed.has_value(), value.isValid());
        if (parsed) {
            QCOMPARE(*parsed, value);
            QCOMPARE(parsed->userType(), value.userType());
        } else {
            QVERIFY2(why.startsWith(fault), qPrintable(why));
        }
    }

    void a_missing_file_or_a_directory_is_an_error()
    {
        const QString missing = _dir.filePath(QStringLiteral("missing.json"));
        QVERIFY(load_error(missing).startsWith(missing + QStringLiteral(": cannot be read: ")));
        QVERIFY(load_error(_dir.path()).startsWith(_dir.path() + QStringLiteral(": cannot be read: ")));
    }

    void values_encode_and_decode_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("little");
        QTest::addColumn<double>("scale");
        QTest::addColumn<words>("encoded");
        QTest::newRow("bool") << QVariant(true) << int(type_bool) << false << 0.0 << words{1};
        QTest::newRow("int16 -1") << QVariant(-1) << int(type_int16) << false << 0.0 << words{0xFFFF};
        QTest::newRow("int16 min") << QVariant(-32768) << int(type_int16) << false << 0.0 << words{0x8000};
        QTest::newRow("uint16 max") << QVariant(65535u) << int(type_uint16) << false << 0.0 << words{0xFFFF};
        QTest::newRow("int32 big") << QVariant(-2) << int(type_int32) << false << 0.0
                                   << words{0xFFFF, 0xFFFE};
        QTest::newRow("uint32 big") << QVariant(0x12345678u) << int(type_uint32) << false << 0.0
                                    << words{0x1234, 0x5678};
        QTest::newRow("uint32 little")
            << QVariant(0x12345678u) << int(type_uint32) << true << 0.0 << words{0x5678, 0x1234};
        QTest::newRow("float32") << QVariant(1.5) << int(type_float32) << false << 0.0
                                 << words{0x3FC0, 0x0000};
        QTest::newRow("float32 little")
            << QVariant(-2.0) << int(type_float32) << true << 0.0 << words{0x0000, 0xC000};
        QTest::newRow("scaled int16") << QVariant(-12.5) << int(type_int16) << false << 0.5 << words{0xFFE7};
        QTest::newRow("scaled uint32")
            << QVariant(429496729.5) << int(type_uint32) << false << 0.5 << words{0x3333, 0x3333};
        // A decimal scale gives the decimal value, not the product of two rounded doubles.
        QTest::newRow("3 x 0.1") << QVariant(0.3) << int(type_uint16) << false << 0.1 << words{3};
        QTest::newRow("-15 x 0.1") << QVariant(-1.5) << int(type_int16) << false << 0.1 << words{0xFFF1};
        QTest::newRow("7 x 0.01") << QVariant(0.07) << int(type_int16) << false << 0.01 << words{7};
        QTest::newRow("12345 x 1e-5")
            << QVariant(0.12345) << int(type_uint16) << false << 1e-5 << words{12345};
        QTest::newRow("uint32 max x 0.001")
            << QVariant(4294967.295) << int(type_uint32) << false << 0.001 << words{0xFFFF, 0xFFFF};
        QTest::newRow("int32 min x -0.123456789012345")
            << QVariant(265121435.63859695) << int(type_int32) << false << -0.123456789012345
            << words{0x8000, 0x0000};
        // A float32 is its shortest decimal, scaled or not: 1.5 × 0.1 is 0.15, and 21.6 stays 21.6.
        QTest::newRow("scaled float32")
            << QVariant(0.15) << int(type_float32) << false << 0.1 << words{0x3FC0, 0x0000};
        QTest::newRow("float32 21.6")
            << QVariant(21.6) << int(type_float32) << false << 0.0 << words{0x41AC, 0xCCCD};
        QTest::newRow("float32 0.1") << QVariant(0.1) << int(type_float32) << false << 0.0
                                     << words{0x3DCC, 0xCCCD};
        QTest::newRow("float32 largest")
            << QVariant(3.4028235e38) << int(type_float32) << false << 0.0 << words{0x7F7F, 0xFFFF};
    }

    void values_encode_and_decode()
    {
        QFETCH(QVariant, value);
        QFETCH(int, type);
        QFETCH(bool, little);
        QFETCH(double, scale);
        QFETCH(words, encoded);
        register_entry_t e = entry(value_type_e(type), type == type_bool ? coil : holding);
        e.little_word_order = little;
        if (scale != 0)
            e.scale = scale;
        QCOMPARE(e.encode(value), std::optional<words>(encoded));
        const QVariant decoded = e.decode(encoded);
        QCOMPARE(decoded.userType(), value.userType());
        QCOMPARE(decoded, value);
        // To the bit: QCOMPARE takes doubles that differ in the last place for equal.
        QVERIFY2(decoded.toDouble() == value.toDouble(),
                 qPrintable(QString::number(decoded.toDouble(), 'g', 17)));

        // The same words in the middle of a block read for several entries.
        words block{0xDEAD};
        block += encoded;
        block.append(0xBEEF);
        const QVariant in_block = e.decode(block.constData() + 1, int(encoded.size()));
        QCOMPARE(in_block.userType(), value.userType());
        QCOMPARE(in_block, value);
        QVERIFY(!e.decode(block.constData() + 1, int(encoded.size()) + 1).isValid());
        QVERIFY(!e.decode(block.constData(), 0).isValid());
    }

    void strings_take_two_characters_per_register()
    {
        const register_entry_t e = entry(type_string, holding, 3);
        QCOMPARE(e.encode(QStringLiteral("AB C")), std::optional<words>(words{0x4142, 0x2043, 0x0000}));
        QCOMPARE(e.decode({0x4142, 0x2043, 0x0000}), QVariant(QStringLiteral("AB C")));
        QCOMPARE(e.decode({0x4100, 0x4200, 0x0000}),
                 QVariant(QStringLiteral("A\u0000B"))); // trailing zeros only
        QCOMPARE(e.encode(QStringLiteral("\u00e9t\u00e9")), std::optional<words>(words{0xE974, 0xE900, 0}));
        QVERIFY(!e.encode(QStringLiteral("1234567"))); // longer than its registers
        QVERIFY(!e.encode(QStringLiteral("\u4e2d")));  // not one byte per character
        QVERIFY(!e.encode(5));                         // not a string
    }

    void values_that_do_not_fit_are_refused()
    {
        QVERIFY(!entry(type_int16).encode(32768));
        QVERIFY(!entry(type_uint16).encode(-1));
        QVERIFY(!entry(type_uint32).encode(qlonglong(1) << 32));
        QVERIFY(!entry(type_int32).encode(1.5));
        QVERIFY(!entry(type_int32).encode(QStringLiteral("5")));
        QVERIFY(!entry(type_float32).encode(1e39));
        QVERIFY(!entry(type_bool, coil).encode(2));
        QVERIFY(entry(type_bool, coil).encode(0));
        register_entry_t scaled = entry(type_int16);
        scaled.scale = 0.1;
        QVERIFY(!scaled.encode(3276.8));
        QCOMPARE(scaled.encode(3276.7), std::optional<words>(words{32767}));
    }

    void typed_values_are_parsed_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVariant>("value");
        QTest::newRow("bool true") << int(type_bool) << "true" << QVariant(true);
        QTest::newRow("bool 0") << int(type_bool) << "0" << QVariant(false);
        QTest::newRow("bool yes") << int(type_bool) << "yes" << QVariant();
        QTest::newRow("int16 negative") << int(type_int16) << "-32768" << QVariant(-32768);
        QTest::newRow("int16 too small") << int(type_int16) << "-32769" << QVariant();
        QTest::newRow("int16 hex") << int(type_int16) << "0x7FFF" << QVariant(32767);
        QTest::newRow("uint16 negative") << int(type_uint16) << "-1" << QVariant();
        QTest::newRow("uint32 max") << int(type_uint32) << "4294967295" << QVariant(4294967295u);
        QTest::newRow("int32 blank") << int(type_int32) << " 5" << QVariant();
        // One rule for every number: a sign + or -, a point and an exponent, no separators.
        QTest::newRow("minus zero") << int(type_int32) << "-0" << QVariant(0);
        QTest::newRow("int plus") << int(type_int16) << "+5" << QVariant(5);
        QTest::newRow("int point zero") << int(type_int16) << "1.0" << QVariant(1);
        QTest::newRow("int exponent") << int(type_uint16) << "1e3" << QVariant(1000u);
        QTest::newRow("int fraction") << int(type_int16) << "1.5" << QVariant();
        QTest::newRow("int group") << int(type_int16) << "1,000" << QVariant();
        QTest::newRow("int hex plus") << int(type_uint16) << "+0x10" << QVariant(16u);
        QTest::newRow("int hex minus") << int(type_int16) << "-0x10" << QVariant(-16);
        QTest::newRow("int hex too big") << int(type_uint32) << "0x100000000" << QVariant();
        QTest::newRow("int two signs") << int(type_int16) << "+-5" << QVariant();
        QTest::newRow("float32") << int(type_float32) << "-1.25e2" << QVariant(-125.0);
        QTest::newRow("float32 plus") << int(type_float32) << "+3" << QVariant(3.0);
        QTest::newRow("float32 point") << int(type_float32) << ".5" << QVariant(0.5);
        QTest::newRow("float32 prints as typed") << int(type_float32) << "21.6" << QVariant(21.6);
        QTest::newRow("float32 largest") << int(type_float32) << "3.4028235e38" << QVariant(3.4028235e38);
        QTest::newRow("float32 rounds to largest")
            << int(type_float32) << "3.40282356e38" << QVariant(3.4028235e38);
        QTest::newRow("float32 too large") << int(type_float32) << "3.4028236e38" << QVariant();
        QTest::newRow("float32 huge") << int(type_float32) << "1e999" << QVariant();
        QTest::newRow("float32 comma") << int(type_float32) << "1,5" << QVariant();
        QTest::newRow("float32 group") << int(type_float32) << "1,000" << QVariant();
        QTest::newRow("float32 hex") << int(type_float32) << "0x10" << QVariant();
        QTest::newRow("float32 inf") << int(type_float32) << "inf" << QVariant();
        QTest::newRow("float32 nan") << int(type_float32) << "nan" << QVariant();
        QTest::newRow("float32 blank") << int(type_float32) << "1 " << QVariant();
        QTest::newRow("int line feed") << int(type_int16) << "0x96\n" << QVariant();
        QTest::newRow("float32 line feed") << int(type_float32) << "1.5\n" << QVariant();
        QTest::newRow("string") << int(type_string) << "pump" << QVariant(QStringLiteral("pump"));
        QTest::newRow("string too long") << int(type_string) << "pump 1" << QVariant();
    }

    void typed_values_say_why_they_are_refused_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<double>("scale"); // 0: none
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("why");
        QTest::newRow("int16 range") << int(type_int16) << 0.0 << "40000"
                                     << "int16 takes whole numbers from -32768 to 32767";
        QTest::newRow("separator")
            << int(type_uint16) << 0.0 << "1,000"
            << "not a number: decimal digits (with a point or an exponent where wanted) "
               "or 0x and hexadecimal digits, no separators";
        QTest::newRow("scaled separator")
            << int(type_uint16) << 0.1 << "1,000"
            << "not a number: decimal digits, with a point or an exponent where "
               "wanted, no separators";
        QTest::newRow("between steps") << int(type_uint16) << 0.001 << "1.2345"
                                       << "scale 0.001 holds 1.234 and 1.235 nearest, not 1.2345";
        QTest::newRow("negative scale") << int(type_int16) << -0.5 << "0.3"
                                        << "scale -0.5 holds 0 and 0.5 nearest, not 0.3";
        QTest::newRow("scaled range") << int(type_uint16) << 0.1 << "6553.6"
                                      << "uint16 with scale 0.1 holds values from 0 to 6553.5";
        QTest::newRow("float range") << int(type_float32) << 0.0 << "-1e39"
                                     << "a float32 holds finite values up to 3.4028235e+38 in size";
        QTest::newRow("bool") << int(type_bool) << 0.0 << "on"
                              << "a bool is true, false, 1 or 0";
    }

    void typed_values_say_why_they_are_refused()
    {
        QFETCH(int, type);
        QFETCH(double, scale);
        QFETCH(QString, text);
        QFETCH(QString, why);
        register_entry_t e = entry(value_type_e(type), type == type_bool ? coil : holding);
        if (scale != 0)
            e.scale = scale;
        QString said;
        QVERIFY(!e.parse(text, &said));
        QCOMPARE(said, why);
        // A value that fits is taken exactly, and prints as typed.
        if (scale == 0.001) {
            const std::optional<QVariant> fits = e.parse(QStringLiteral("1.235"));
            QVERIFY(fits);
            QCOMPARE(qz::gui::printable_value(*fits), QStringLiteral("1.235"));
            QCOMPARE(e.encode(*fits), std::optional<words>(words{1235}));
        }
    }

    void typed_values_are_parsed()
    {
        QFETCH(int, type);
        QFETCH(QString, text);
        QFETCH(QVariant, value);
        const register_entry_t e =
            entry(value_type_e(type), type == type_bool ? coil : holding, type == type_string ? 2 : 0);
        const std::optional<QVariant> parsed = e.parse(text);
        QCOMPARE(parsed.has_value(), value.isValid());
        if (parsed) {
            QCOMPARE(parsed->userType(), value.userType());
            QCOMPARE(*parsed, value);
        }
    }
};

QTEST_MAIN(tst_register_map)
#include "tst_register_map.moc"
