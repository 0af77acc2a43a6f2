// SPDX-License-Identifier: BSD-3-Clause
// The hidden costs of Designer forms and parameter files, against Qt's bare ways of doing the same:
// - scan_form() on a 2,000-widget form laid out as Designer draws one (widgets with buddy labels
//   in group boxes inside tabs) against a findChildren<QWidget*>() walk that reads the same
//   property;
// - save_parameters() and load_parameters() of 10,000 parameters of mixed types against
//   QJsonDocument serialising and parsing the same data (QJsonValue::fromVariant() and
//   toVariant(), a plain QFile).
// Run: cmake --build build --target bench_form_files && QT_QPA_PLATFORM=offscreen
// build/bench/bench_form_files
#include "bench_util.h"

#include "qzgui/form_scan.h"
#include "qzgui/parameter_file.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QElapsedTimer>
#include <QFormLayout>
#include <QGroupBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QVBoxLayout>

#include <cstdio>
#include <functional>
#include <memory>

using namespace qz::gui;

namespace {

constexpr int runs = 15;
constexpr int tabs = 10;
constexpr int groups_per_tab = 10;
constexpr int rows_per_group = 20; // 10 x 10 x 20 = 2,000 bound widgets
constexpr int parameters = 10000;

volatile qint64 sink;

double seconds(const std::function<void()>& step)
{
    QElapsedTimer timer;
    timer.start();
    step();
    return timer.nsecsElapsed() / 1e9;
}

QWidget* make_field(int i, QWidget* parent)
{
    switch (i % 6) {
    case 0:
        return new QSpinBox(parent);
    case 1:
        return new QLineEdit(parent);
    case 2:
        return new QCheckBox(parent);
    case 3:
        return new QDoubleSpinBox(parent);
    case 4: {
        auto* box = new QComboBox(parent);
        box->addItem(QStringLiteral("off"), 0u);
        box->addItem(QStringLiteral("on"), 1u);
        return box;
    }
    default:
        return new QDateTimeEdit(parent);
    }
}

// Ids as Designer users write them: integers, and hexadecimal texts for the larger ones.
std::unique_ptr<QTabWidget> make_form()
{
    auto form = std::make_unique<QTabWidget>();
    int id = 0;
    for (int t = 0; t < tabs; ++t) {
        auto* page = new QWidget;
        auto* page_layout = new QVBoxLayout(page);
        for (int g = 0; g < groups_per_tab; ++g) {
            auto* group = new QGroupBox(QStringLiteral("Group %1").arg(g), page);
            auto* rows = new QFormLayout(group);
            for (int r = 0; r < rows_per_group; ++r, ++id) {
                QWidget* field = make_field(id, group);
                field->setObjectName(QStringLiteral("field_%1").arg(id));
                field->setProperty("qz_param_id",
                                   id % 2 ? QVariant(id) : QVariant(QStringLiteral("0x%1").arg(id, 0, 16)));
                auto* label = new QLabel(QStringLiteral("Field %1").arg(id), group);
                label->setBuddy(field);
                rows->addRow(label, field);
            }
            page_layout->addWidget(group);
        }
        form->addTab(page, QStringLiteral("Tab %1").arg(t));
    }
    return form;
}

QMap<uint32_t, QVariant> mixed_values()
{
    QMap<uint32_t, QVariant> values;
    const QDateTime start(QDate(2026, 11, 23), QTime(9, 0), Qt::UTC);
    for (int i = 0; i < parameters; ++i) {
        const uint32_t id = 0x1000 + uint32_t(i);
        switch (i % 7) {
        case 0:
            values.insert(id, i % 3 == 0);
            break;
        case 1:
            values.insert(id, -i * 37);
            break;
        case 2:
            values.insert(id, uint(i) * 2654435761u);
            break;
        case 3:
            values.insert(id, i / 7.0 + 0.1);
            break;
        case 4:
            values.insert(id, QStringLiteral("pump %1, west hall").arg(i));
            break;
        case 5:
            values.insert(id, start.addMSecs(qint64(i) * 1234567));
            break;
        default:
            values.insert(id, QVariant());
            break;
        }
    }
    return values;
}

void bare_save(const QString& path, const QMap<uint32_t, QVariant>& values)
{
    QJsonArray list;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        list.append(QJsonObject{{QStringLiteral("id"), qint64(it.key())},
                                {QStringLiteral("value"), QJsonValue::fromVariant(*it)}});
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(list).toJson()) < 0)
        qFatal("cannot write %s", qPrintable(path));
}

QMap<uint32_t, QVariant> bare_load(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    QMap<uint32_t, QVariant> values;
    const QJsonArray list = QJsonDocument::fromJson(file.readAll()).array();
    for (const QJsonValue& item : list) {
        const QJsonObject entry = item.toObject();
        values.insert(uint32_t(entry.value(QLatin1String("id")).toDouble()),
                      entry.value(QLatin1String("value")).toVariant());
    }
    return values;
}

void report(const char* what, const std::vector<double>& ours, const std::vector<double>& bare,
            const char* peer)
{
    using qz::bench::median;
    std::vector<double> ratios;
    for (size_t i = 0; i < ours.size(); ++i)
        ratios.push_back(ours[i] / bare[i]);
    std::printf("%-34s %9.2f ms   %-40s %9.2f ms   ratio %.2f (target <= 2)\n", what, median(ours) * 1e3,
                peer, median(bare) * 1e3, median(ratios));
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const std::unique_ptr<QTabWidget> form = make_form();
    std::vector<double> scan, walk;
    for (int run = 0; run < runs + 1; ++run) {
        const double ours = seconds([&] { sink = scan_form(form.get()).widgets.size(); });
        const double bare = seconds([&] {
            qint64 found = 0;
            for (QWidget* widget : form->findChildren<QWidget*>())
                found += widget->property("qz_param_id").isValid();
            sink = found;
        });
        if (run > 0) { // the first run warms the caches
            scan.push_back(ours);
            walk.push_back(bare);
        }
    }
    std::printf("%d bound widgets, %d widgets in all\n", int(scan_form(form.get()).widgets.size()),
                int(form->findChildren<QWidget*>().size()));
    report("scan_form", scan, walk, "findChildren + property()");

    const QTemporaryDir dir;
    const QString ours_path = dir.filePath(QStringLiteral("ours.json"));
    const QString bare_path = dir.filePath(QStringLiteral("bare.json"));
    const QMap<uint32_t, QVariant> values = mixed_values();
    std::vector<double> save, bare_saves, load, bare_loads;
    for (int run = 0; run < runs + 1; ++run) {
        const double s = seconds([&] { save_parameters(ours_path, values); });
        const double bs = seconds([&] { bare_save(bare_path, values); });
        const double l = seconds([&] { sink = load_parameters(ours_path).size(); });
        const double bl = seconds([&] { sink = bare_load(bare_path).size(); });
        if (run > 0) {
            save.push_back(s);
            bare_saves.push_back(bs);
            load.push_back(l);
            bare_loads.push_back(bl);
        }
    }
    std::printf("%d parameters: file %lld bytes, bare file %lld bytes\n", parameters,
                QFileInfo(ours_path).size(), QFileInfo(bare_path).size());
    report("save_parameters", save, bare_saves, "QJsonDocument::toJson + QFile");
    report("load_parameters", load, bare_loads, "QJsonDocument::fromJson + toVariant");
    return 0;
}
