// SPDX-License-Identifier: BSD-3-Clause
// build_form() on 2,000 descriptions against building the same widgets and layouts by hand.
//
//   cmake --build build --target bench_form_builder && QT_QPA_PLATFORM=offscreen
//   build/bench/bench_form_builder
//
// The rows cycle through every kind of field build_form() makes (check box, combo box of four
// choices, 16-bit hex box, spin box, UInt past 2^31-1, double spin box, line edit), each with a
// unit, a tool tip and a name, in 20 groups. The hand-built form makes the same widgets with the
// same settings, labels, buddies, ids and group boxes, the way a host application would write it.
// Each figure is the median of 7 interleaved runs; the form is deleted outside the timing. Target:
// build_form() takes at most 1.3 times the hand-built form's time.
#include "bench_util.h"

#include "qzgui/HexSpinBox.h"
#include "qzgui/form_builder.h"
#include "qzgui/parameter_description.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QElapsedTimer>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QVBoxLayout>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr int rows = 2000;
constexpr int kinds = 7;
constexpr int groups = 20;

QVector<qz::gui::parameter_description> descriptions()
{
    QVector<qz::gui::parameter_description> all;
    for (int i = 0; i < rows; ++i) {
        qz::gui::parameter_description p;
        p.id = uint32_t(0x100 + i);
        p.name = QStringLiteral("Parameter %1").arg(i);
        p.unit = QStringLiteral("mA");
        p.group = QStringLiteral("Group %1").arg(i % groups);
        p.description = QStringLiteral("What parameter %1 does").arg(i);
        switch (i % kinds) {
        case 0:
            p.type = QMetaType::Bool;
            break;
        case 1:
            p.type = QMetaType::UInt;
            p.choices = {{0u, QStringLiteral("Off")},
                         {1u, QStringLiteral("Low")},
                         {2u, QStringLiteral("High")},
                         {3u, QStringLiteral("Auto")}};
            break;
        case 2:
            p.type = QMetaType::UInt;
            p.hexadecimal = true;
            p.maximum = 0xFFFFu;
            break;
        case 3:
            p.type = QMetaType::Int;
            p.minimum = -100;
            p.maximum = 100;
            break;
        case 4:
            p.type = QMetaType::UInt;
            break;
        case 5:
            p.type = QMetaType::Double;
            p.minimum = 0.0;
            p.maximum = 1000.0;
            p.decimals = 2;
            break;
        default:
            p.type = QMetaType::QString;
            p.max_length = 32;
            break;
        }
        all.append(p);
    }
    return all;
}

QWidget* unit_row(QWidget* field)
{
    auto* box = new QWidget;
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(field, 1);
    layout->addWidget(new QLabel(QStringLiteral("mA")));
    return box;
}

// The same form as a host application writes it by hand.
QWidget* by_hand(const QVector<qz::gui::parameter_description>& all)
{
    auto* form = new QWidget;
    auto* top = new QVBoxLayout(form);
    std::vector<QFormLayout*> sections(groups, nullptr);
    for (int i = 0; i < all.size(); ++i) {
        const qz::gui::parameter_description& p = all[i];
        QFormLayout*& section = sections[size_t(i % groups)];
        if (!section) {
            auto* box = new QGroupBox(p.group);
            section = new QFormLayout(box);
            top->addWidget(box);
        }
        QWidget* field = nullptr;
        QWidget* row = nullptr;
        switch (i % kinds) {
        case 0:
            field = new QCheckBox;
            row = unit_row(field);
            break;
        case 1: {
            auto* box = new QComboBox;
            for (const auto& choice : p.choices)
                box->addItem(choice.second, choice.first);
            box->setCurrentIndex(-1);
            field = box;
            row = unit_row(field);
            break;
        }
        case 2: {
            auto* box = new qz::gui::HexSpinBox(true);
            box->clear();
            field = box;
            row = unit_row(field);
            break;
        }
        case 3: {
            auto* box = new QSpinBox;
            box->setRange(-100, 100);
            box->setSuffix(QStringLiteral(" mA"));
            box->clear();
            field = row = box;
            break;
        }
        case 4: {
            auto* box = new QDoubleSpinBox;
            box->setDecimals(0);
            box->setRange(0, 4294967295.0);
            box->setSuffix(QStringLiteral(" mA"));
            box->clear();
            field = row = box;
            break;
        }
        case 5: {
            auto* box = new QDoubleSpinBox;
            box->setDecimals(2);
            box->setRange(0, 1000);
            box->setSingleStep(0.01);
            box->setSuffix(QStringLiteral(" mA"));
            box->clear();
            field = row = box;
            break;
        }
        default: {
            auto* edit = new QLineEdit;
            edit->setMaxLength(32);
            field = edit;
            row = unit_row(field);
            break;
        }
        }
        field->setObjectName(QStringLiteral("qz_param_%1").arg(p.id, 4, 16, QLatin1Char('0')));
        field->setProperty("qz_param_id", p.id);
        auto* label = new QLabel(p.name);
        label->setBuddy(field);
        label->setToolTip(p.description);
        field->setToolTip(p.description);
        section->addRow(label, row);
    }
    top->addStretch(1);
    return form;
}

template <typename F>
double timed_ms(F build)
{
    QElapsedTimer timer;
    timer.start();
    std::unique_ptr<QWidget> form(build());
    const double ms = double(timer.nsecsElapsed()) / 1e6;
    return ms;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QVector<qz::gui::parameter_description> all = descriptions();
    std::vector<double> built, hand;
    timed_ms([&] { return qz::gui::build_form(all); }); // warm-up: styles, fonts
    timed_ms([&] { return by_hand(all); });
    for (int run = 0; run < 7; ++run) {
        built.push_back(timed_ms([&] { return qz::gui::build_form(all); }));
        hand.push_back(timed_ms([&] { return by_hand(all); }));
    }
    const double b = qz::bench::median(built), h = qz::bench::median(hand);
    std::printf("%d rows: build_form %.1f ms, by hand %.1f ms, ratio %.2f (target <= 1.3)\n", rows, b, h,
                b / h);
    return 0;
}
