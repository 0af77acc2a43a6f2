// SPDX-License-Identifier: BSD-3-Clause
// Puts arbitrary values into the id property of a widget in a form, as Designer stores them, and
// checks scan_form(): the widget is bound under exactly the id the value names, written out here
// separately, or refused with the widget named; a second widget carrying the same id is refused.
//
// Input: byte 0 picks the property's type (bits 1 to 3; text in UTF-8 or UTF-16 by bit 0, see
// text_of()); the rest is the text, or the number's bytes.
#include "fuzz_check.h"

#include <qzgui/form_scan.h>

#include <QApplication>
#include <QLabel>
#include <QSpinBox>

#include <cmath>
#include <optional>
#include <stdexcept>

using qz::fuzz::check;
using qz::fuzz::id_of_text;

namespace {

QWidget* form = nullptr;
QSpinBox* box = nullptr;
QSpinBox* twin = nullptr;
QLabel* label = nullptr;

template <typename T>
T number_of(const uint8_t* data, size_t size)
{
    T v{};
    std::memcpy(&v, data, std::min(size, sizeof v));
    return v;
}

std::optional<uint32_t> whole(double v)
{
    return v >= 0 && v <= 4294967295.0 && std::floor(v) == v ? std::optional<uint32_t>(uint32_t(v))
                                                             : std::nullopt;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    new QApplication(*argc, *argv);
    form = new QWidget;
    form->setObjectName(QStringLiteral("form"));
    box = new QSpinBox(form);
    box->setObjectName(QStringLiteral("gain"));
    twin = new QSpinBox(form);
    twin->setObjectName(QStringLiteral("offset"));
    label = new QLabel(QStringLiteral("Gain"), form);
    label->setBuddy(box);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const uint8_t* rest = data + 1;
    const size_t rest_size = size - 1;
    QVariant value;
    std::optional<uint32_t> expected;
    switch ((data[0] >> 1) % 7) {
    case 0:
    case 1: { // a string property, as Designer writes "0x0010"
        const QString text = qz::fuzz::text_of(data, size);
        value = text;
        expected = id_of_text(text);
        break;
    }
    case 2: { // a byte array property
        const QByteArray bytes(reinterpret_cast<const char*>(rest), int(rest_size));
        value = bytes;
        expected = id_of_text(QString::fromUtf8(bytes));
        break;
    }
    case 3: {
        const int v = number_of<int>(rest, rest_size);
        value = v;
        expected = v >= 0 ? std::optional<uint32_t>(uint32_t(v)) : std::nullopt;
        break;
    }
    case 4: {
        const qlonglong v = number_of<qlonglong>(rest, rest_size);
        value = v;
        expected = v >= 0 && v <= 0xFFFFFFFFll ? std::optional<uint32_t>(uint32_t(v)) : std::nullopt;
        break;
    }
    case 5: {
        const qulonglong v = number_of<qulonglong>(rest, rest_size);
        value = v;
        expected = v <= 0xFFFFFFFFull ? std::optional<uint32_t>(uint32_t(v)) : std::nullopt;
        break;
    }
    default: { // a JSON number, or a double property
        const double v = number_of<double>(rest, rest_size);
        value = v;
        expected = whole(v);
        break;
    }
    }
    // Cleared first: Qt keeps a dynamic property that compares equal to the new value, and Qt 5
    // takes a whole number and a double within rounding of it for equal.
    box->setProperty("qz_param_id", QVariant());
    box->setProperty("qz_param_id", value);
    twin->setProperty("qz_param_id", QVariant());
    try {
        const qz::gui::form_bindings b = qz::gui::scan_form(form);
        check(bool(expected), "only an id is taken", value.toString());
        check(b.widgets.size() == 1 && b.widgets.contains(*expected)
                  && b.widgets.value(*expected).second == box,
              "the widget is bound under the id its property names", value.toString());
        check(b.hints.value(*expected) == label, "its label is its hint", value.toString());
    } catch (const std::invalid_argument& e) {
        const QString message = QString::fromStdString(e.what());
        check(!expected, "an id is not refused", message);
        check(message.contains(QLatin1String("gain")), "a refusal names the widget", message);
    }
    if (!expected)
        return 0;
    // The same id on a second widget is refused, naming both.
    twin->setProperty("qz_param_id", *expected);
    try {
        qz::gui::scan_form(form);
        qz::fuzz::broken("an id carried twice is taken", value.toString());
    } catch (const std::invalid_argument& e) {
        const QString message = QString::fromStdString(e.what());
        check(message.contains(QLatin1String("gain")) && message.contains(QLatin1String("offset")),
              "a repeated id names both widgets", message);
    }
    return 0;
}
