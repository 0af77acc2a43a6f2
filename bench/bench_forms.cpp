// SPDX-License-Identifier: BSD-3-Clause
// Form binding and profile switching on forms of 200 and 2,000 widgets, against Qt's own
// QDataWidgetMapper populating the same widgets.
//
//   cmake --build build --target bench_forms && QT_QPA_PLATFORM=offscreen build/bench/bench_forms
//
// Widgets cycle through the eight bound kinds in equal numbers and sit in groups of 20, as in a
// real form: Qt 5's QAbstractButton::setChecked(false) looks for an exclusive group among all
// children of the button's parent, so one flat parent of 2,000 widgets would make every uncheck
// cost O(n) inside Qt (for the mapper as much as for set_data). Steps: set_data for every id
// under the loading flag; a user edit of every watched widget (reported per edit); collecting
// the changes; discarding them; switching between two profiles that cover every spin box, double
// spin box, combo box and label. Each step is the mean of 4 repetitions in a run. Targets: every step grows
// at most 13-fold from 200 to 2,000 widgets (a single edit up to 20-fold: Qt 5's QObject::sender() walks the
// controller's connections), and the 2,000-widget set_data pass takes at most the mapper's toFirst() time
// (median of 5 interleaved runs).
//
// Two rows without a target put the collecting figure in context: the lookups of the changed ids
// in the caller's map alone, which collecting must make on every call (the map may have changed),
// and Qt's QDataWidgetMapper::submit(), which reads every mapped widget back, each timed right
// after an edit pass like collecting is.
#include "bench_util.h"

#include "qzgui/ui_controller.h"
#include "qzgui/widget_profile_controller.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDataWidgetMapper>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QSpinBox>
#include <QStandardItemModel>

#include <cstdio>
#include <functional>
#include <memory>

using namespace qz::gui;

namespace {

constexpr int runs = 5;
constexpr int kinds = 8;
constexpr int group_size = 20;

struct bench_form {
    QWidget window;
    QMap<uint32_t, QPair<widget_type_e, QObject*>> widgets;
    QMap<uint32_t, QVariant> values;
    std::unique_ptr<ui_controller> controller;
    widget_profile_controller profiles;
    QStandardItemModel model;
    QDataWidgetMapper mapper;

    explicit bench_form(int count)
        : model(1, count)
    {
        QVector<QPair<QWidget*, std::shared_ptr<widget_profile_t>>> narrow;
        QVector<QPair<QWidget*, std::shared_ptr<widget_profile_t>>> wide;
        QWidget* group = nullptr;
        for (int i = 0; i < count; ++i) {
            if (i % group_size == 0)
                group = new QWidget(&window);
            const auto type = widget_type_e(i % kinds);
            QWidget* widget = make(type, group);
            widgets.insert(uint32_t(i), {type, widget});
            values.insert(uint32_t(i), value(type, i));
            model.setData(model.index(0, i), value(type, i));
            switch (type) {
            case spinbox:
                narrow.append({widget, std::make_shared<widget_profile_spinbox_t>(true, 0, 100, 1)});
                wide.append({widget, std::make_shared<widget_profile_spinbox_t>(true, -1000, 1000, 10)});
                break;
            case doublespinbox:
                narrow.append(
                    {widget,
                     std::make_shared<widget_profile_doublespinbox_t>(true, 0, 10, 0.1, 1, keep_value)});
                wide.append(
                    {widget,
                     std::make_shared<widget_profile_doublespinbox_t>(true, 0, 1000, 1, 3, set_minimum)});
                break;
            case combobox:
                narrow.append({widget, std::make_shared<widget_profile_combobox_t>(true, items(3))});
                wide.append({widget, std::make_shared<widget_profile_combobox_t>(false, items(6))});
                break;
            case label:
                narrow.append({widget, std::make_shared<widget_profile_label_t>(true, QStringLiteral("V"))});
                wide.append({widget, std::make_shared<widget_profile_label_t>(true, QStringLiteral("mV"))});
                break;
            default:
                break;
            }
        }
        controller = std::make_unique<ui_controller>(&widgets, nullptr);
        profiles.register_profile(0, narrow);
        profiles.register_profile(1, wide);
        mapper.setModel(&model);
        for (int i = 0; i < count; ++i)
            mapper.addMapping(static_cast<QWidget*>(widgets[uint32_t(i)].second), i);
    }

    static QVector<QPair<QString, QVariant>> items(int n)
    {
        QVector<QPair<QString, QVariant>> list;
        for (int k = 0; k < n; ++k)
            list.append({QStringLiteral("item %1").arg(k), uint(k)});
        return list;
    }

    static QWidget* make(widget_type_e type, QWidget* group)
    {
        switch (type) {
        case checkbox:
            return new QCheckBox(group);
        case lineedit:
            return new QLineEdit(group);
        case spinbox: {
            auto* box = new QSpinBox(group);
            box->setRange(-1000000, 1000000);
            return box;
        }
        case doublespinbox: {
            auto* box = new QDoubleSpinBox(group);
            box->setRange(-1e6, 1e6);
            return box;
        }
        case combobox: {
            auto* box = new QComboBox(group);
            for (const auto& item : items(3))
                box->addItem(item.first, item.second);
            return box;
        }
        case label:
            return new QLabel(group);
        case progressbar:
            return new QProgressBar(group);
        default:
            return new QDateTimeEdit(group);
        }
    }

    static QVariant value(widget_type_e type, int i)
    {
        switch (type) {
        case checkbox:
            return i % 16 == 0;
        case lineedit:
        case label:
            return QStringLiteral("value %1").arg(i);
        case spinbox:
        case progressbar:
            return i % 100;
        case doublespinbox:
            return i / 8.0;
        case combobox:
            return uint(i % 3);
        default:
            return QDateTime(QDate(2024, 1, 1), QTime(0, 0)).addSecs(i);
        }
    }

    // A user edit of a watched widget through the setter the user's action ends in.
    void edit(uint32_t id, int round)
    {
        const auto binding = widgets.value(id);
        QObject* object = binding.second;
        switch (binding.first) {
        case checkbox:
            static_cast<QCheckBox*>(object)->click();
            break;
        case lineedit:
            static_cast<QLineEdit*>(object)->setText(QStringLiteral("edit %1").arg(round));
            break;
        case spinbox:
            static_cast<QSpinBox*>(object)->stepUp();
            break;
        case doublespinbox:
            static_cast<QDoubleSpinBox*>(object)->stepUp();
            break;
        case combobox: {
            auto* box = static_cast<QComboBox*>(object);
            box->setCurrentIndex((box->currentIndex() + 1) % box->count());
            break;
        }
        case datetimeedit:
            static_cast<QDateTimeEdit*>(object)->stepBy(1);
            break;
        default:
            break;
        }
    }
};

double seconds(const std::function<void()>& step)
{
    QElapsedTimer timer;
    timer.start();
    step();
    return timer.nsecsElapsed() / 1e9;
}

struct figures {
    std::vector<double> set_data, edit, collect, collect_warm, lookups, discard, profiles, mapper, submit;
};

// Puts every widget into another state than the benchmark's values, untimed, so that the next
// populate changes every widget.
void scramble(bench_form& form)
{
    form.controller->set_loading_data(true);
    for (auto it = form.widgets.cbegin(); it != form.widgets.cend(); ++it)
        form.controller->set_data(it.key(), bench_form::value(it->first, int(it.key()) + 1));
    form.controller->set_loading_data(false);
}

// A user edit of every watched widget; returns how many there were.
int edit_all(bench_form& form, int round)
{
    int edits = 0;
    for (auto it = form.widgets.cbegin(); it != form.widgets.cend(); ++it) {
        if (it->first == label || it->first == progressbar)
            continue;
        form.edit(it.key(), round);
        ++edits;
    }
    return edits;
}

// Each step is timed over several repetitions that each do the whole work (the state it needs is
// restored, untimed, in between), so that one cold pass over a fresh form does not decide.
constexpr int passes = 4;

volatile quintptr sink; // keeps the timed lookups from being optimised away

void run_once(int count, int run, figures& f)
{
    bench_form form(count);
    double mapper = 0;
    double set_data = 0;
    for (int pass = 0; pass < passes; ++pass) {
        const auto by_mapper = [&] {
            scramble(form);
            mapper += seconds([&] { form.mapper.toFirst(); });
        };
        const auto by_set_data = [&] {
            scramble(form);
            set_data += seconds([&] {
                form.controller->set_loading_data(true);
                for (auto it = form.values.cbegin(); it != form.values.cend(); ++it)
                    form.controller->set_data(it.key(), it.value());
                form.controller->set_loading_data(false);
            });
        };
        // Interleaved: each goes first in every other pass and run.
        if ((run + pass) % 2) {
            by_mapper();
            by_set_data();
        } else {
            by_set_data();
            by_mapper();
        }
    }
    f.mapper.push_back(mapper / passes);
    f.set_data.push_back(set_data / passes);

    double edit = 0;
    double collect = 0;
    double collect_warm = 0;
    double discard = 0;
    double profiles = 0;
    for (int pass = 0; pass < passes; ++pass) {
        int edits = 0;
        edit += seconds([&] { edits = edit_all(form, pass + 1); }) / edits;
        const auto collect_once = [&] {
            QVector<QPair<uint32_t, QVariant>> changes;
            form.controller->collect_changed_params(changes);
        };
        // Right after the edits, as when the user presses Write; then again, back to back.
        collect += seconds(collect_once);
        constexpr int repeats = 10;
        collect_warm += seconds([&] {
                            for (int i = 0; i < repeats; ++i)
                                collect_once();
                        })
            / repeats;
        discard += seconds([&] { form.controller->discard_changes(form.values); });
        profiles += seconds([&] {
            form.controller->set_loading_data(true);
            form.profiles.set_active_profile(1);
            form.profiles.set_active_profile(0);
            form.controller->set_loading_data(false);
        });
    }
    f.edit.push_back(edit / passes);
    f.collect.push_back(collect / passes);
    f.collect_warm.push_back(collect_warm / passes);
    f.discard.push_back(discard / passes);
    f.profiles.push_back(profiles / passes);

    // Context for collecting, in passes of their own so that the steps above keep their setting.
    double lookups = 0;
    double submit = 0;
    QVector<uint32_t> watched;
    for (auto it = form.widgets.cbegin(); it != form.widgets.cend(); ++it)
        if (it->first != label && it->first != progressbar)
            watched.append(it.key());
    for (int pass = 0; pass < passes; ++pass) {
        // The part of collecting that finds each changed id in the caller's map, which it must
        // consult on every call, timed alone after another edit pass.
        edit_all(form, pass + 1);
        lookups += seconds([&] {
            quintptr sum = 0;
            for (const uint32_t id : qAsConst(watched))
                sum += quintptr(form.widgets.constFind(id)->second);
            sink = sum;
        });
        // Qt's own way of reading every edited widget back, as a peer of collecting; under the
        // loading flag, since the mapper writes the values back into the widgets.
        edit_all(form, pass + 1);
        form.controller->set_loading_data(true);
        submit += seconds([&] { form.mapper.submit(); });
        form.controller->discard_changes(form.values);
    }
    f.lookups.push_back(lookups / passes);
    f.submit.push_back(submit / passes);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    figures small;
    figures large;
    figures warm_up;
    run_once(200, 0, warm_up);
    run_once(2000, 0, warm_up);
    for (int run = 0; run < runs; ++run) {
        run_once(200, run, small);
        run_once(2000, run, large);
    }
    using qz::bench::median;
    // A limit of 0 marks a row shown for comparison, with no target of its own.
    const auto row = [&](const char* name, const std::vector<double>& s, const std::vector<double>& l,
                         double limit) {
        const double growth = median(l) / median(s);
        std::printf("  %-34s %10.1f us %10.1f us %8.1fx", name, median(s) * 1e6, median(l) * 1e6, growth);
        if (limit > 0)
            std::printf(" (target <= %.0fx)", limit);
        std::printf("\n");
    };
    std::printf("  %-34s %13s %13s %9s\n", "step", "200 widgets", "2,000 widgets", "growth");
    row("set_data, every id, loading", small.set_data, large.set_data, 13);
    row("one user edit (mean)", small.edit, large.edit, 20);
    row("collect_changed_params (after edits)", small.collect, large.collect, 13);
    row("collect_changed_params (repeated)", small.collect_warm, large.collect_warm, 13);
    row("  caller's map lookups alone", small.lookups, large.lookups, 0);
    row("QDataWidgetMapper::submit (peer)", small.submit, large.submit, 0);
    row("discard_changes", small.discard, large.discard, 13);
    row("switch two profiles", small.profiles, large.profiles, 13);
    row("QDataWidgetMapper::toFirst (peer)", small.mapper, large.mapper, 0);
    std::vector<double> ratios;
    for (int run = 0; run < runs; ++run)
        ratios.push_back(large.set_data[run] / large.mapper[run]);
    std::printf("set_data / mapper toFirst at 2,000 widgets: median ratio %.2f (target <= 1.0)\n",
                median(ratios));
    return 0;
}
