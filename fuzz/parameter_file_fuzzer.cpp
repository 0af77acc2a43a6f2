// SPDX-License-Identifier: BSD-3-Clause
// Loads arbitrary bytes as a parameter file and checks that the loader either refuses them, naming
// the file, or gives values that save and load again to the bit.
//
// Input: the file's bytes.
#include "fuzz_check.h"

#include <qzgui/parameter_file.h>

#include <QCoreApplication>

#include <stdexcept>

using qz::fuzz::check;

namespace {

qz::fuzz::input_file* file = nullptr;
qz::fuzz::input_file* saved = nullptr;

QString shown(const QMap<uint32_t, QVariant>& values)
{
    QStringList parts;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        parts << QStringLiteral("%1: %2 %3").arg(it.key()).arg(QLatin1String(it->typeName()), it->toString());
    return parts.join(QStringLiteral(", "));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    new QCoreApplication(*argc, *argv);
    file = new qz::fuzz::input_file("parameters.json");
    saved = new qz::fuzz::input_file("saved.json");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    file->write(data, size);
    QMap<uint32_t, QVariant> values;
    try {
        values = qz::gui::load_parameters(file->path());
    } catch (const std::runtime_error& e) {
        file->check_refusal(e);
        return 0;
    }
    // What a file gave, a file keeps: saved and loaded again, every value is the same to the bit.
    QMap<uint32_t, QVariant> again;
    try {
        qz::gui::save_parameters(saved->path(), values);
        again = qz::gui::load_parameters(saved->path());
    } catch (const std::runtime_error& e) {
        qz::fuzz::broken("values loaded do not save and load again", QString::fromStdString(e.what()));
    }
    check(again.keys() == values.keys(), "the same ids come back",
          shown(values) + QStringLiteral(" / ") + shown(again));
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        check(qz::fuzz::same_value(*it, again.value(it.key())), "every value comes back to the bit",
              shown(values) + QStringLiteral(" / ") + shown(again));
    return 0;
}
