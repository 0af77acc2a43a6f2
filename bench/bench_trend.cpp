// SPDX-License-Identifier: BSD-3-Clause
// Redrawing a trend of 20 parameters over an hour at 10 Hz (720,000 samples): trend_view, which
// draws sample_history's decimated line, against Qt Charts fed every sample. And the bytes a sample
// costs in the history.
//
//   cmake --build build --target bench_trend && QT_QPA_PLATFORM=offscreen build/bench/bench_trend
//
// Both views are 1200 x 600 pixels, drawn into an image (QWidget::grab()) after each update:
//   trend_view   refresh() (decimation from the history, the series replaced) and the drawing;
//   Qt Charts    every series replaced with all its samples (taken from the history beforehand,
//                so that only Qt Charts' part is timed) and the drawing.
// Prints the medians and trend_view / Qt Charts (target: at most 0.1), the median of the rounds'
// ratios. The bytes per sample are the resident memory a history of the 720,000 samples adds,
// divided by their number.
#include "bench_util.h"

#include <qzgui/parameter_description.h>
#include <qzgui/sample_history.h>
#include <qzgui/trend/trend_view.h>

#include <QApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QDateTimeAxis>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>

#include <cmath>
#include <cstdio>
#include <memory>

// Qt 5 keeps the charts in a namespace of their own.
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
QT_CHARTS_USE_NAMESPACE
#endif

namespace {

constexpr int lines = 20;
constexpr int per_line = 36000; // an hour at 10 Hz
constexpr qint64 start = 1700000000000;
constexpr int rounds = 5;

double value_at(int line, int i)
{
    return std::sin(i / (200.0 + line * 13)) * (10 + line) + (i * 7919 % 13) * 0.1;
}

void fill(qz::gui::sample_history& history)
{
    for (int i = 0; i < per_line; ++i)
        for (int line = 0; line < lines; ++line)
            history.add(uint32_t(line + 1), start + i * 100, value_at(line, i));
}

double elapsed_ms(const QElapsedTimer& clock)
{
    return clock.nsecsElapsed() / 1e6;
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);

    // The bytes a sample costs: the memory a full history adds.
    const qint64 before = qz::bench::resident_bytes();
    auto measured = std::make_unique<qz::gui::sample_history>();
    fill(*measured);
    const qint64 after = qz::bench::resident_bytes();
    const double bytes_per_sample = double(after - before) / (lines * per_line);

    qz::gui::sample_history& history = *measured;
    qz::gui::trend_view trend(&history);
    for (int line = 0; line < lines; ++line) {
        qz::gui::parameter_description p;
        p.id = uint32_t(line + 1);
        p.name = QStringLiteral("Value %1").arg(line + 1);
        p.unit = line % 2 ? QStringLiteral("V") : QStringLiteral("A");
        trend.add_parameter(p);
    }
    trend.set_span(3600 * 1000);
    trend.resize(1200, 600);
    trend.show();
    QApplication::processEvents();

    // Qt Charts the plain way: a series per parameter, fed every sample.
    QChart* chart = new QChart;
    auto* time_axis = new QDateTimeAxis;
    auto* value_axis = new QValueAxis;
    chart->addAxis(time_axis, Qt::AlignBottom);
    chart->addAxis(value_axis, Qt::AlignLeft);
    QVector<QLineSeries*> series;
    QVector<QVector<QPointF>> every_sample;
    for (int line = 0; line < lines; ++line) {
        auto* s = new QLineSeries;
        chart->addSeries(s);
        s->attachAxis(time_axis);
        s->attachAxis(value_axis);
        series.append(s);
        every_sample.append(history.samples(uint32_t(line + 1), start, start + per_line * 100));
    }
    time_axis->setRange(QDateTime::fromMSecsSinceEpoch(start),
                        QDateTime::fromMSecsSinceEpoch(start + per_line * 100));
    value_axis->setRange(-40, 40);
    QChartView view(chart);
    view.setRenderHint(QPainter::Antialiasing);
    view.resize(1200, 600);
    view.show();
    QApplication::processEvents();

    std::vector<double> ours, theirs, ratios;
    for (int round = 0; round < rounds; ++round) {
        QElapsedTimer clock;
        clock.start();
        trend.refresh();
        const QImage a = trend.grab().toImage();
        const double ours_ms = elapsed_ms(clock);
        clock.restart();
        for (int line = 0; line < lines; ++line)
            series[line]->replace(every_sample[line]);
        const QImage b = view.grab().toImage();
        const double theirs_ms = elapsed_ms(clock);
        if (a.isNull() || b.isNull())
            return 1;
        ours.push_back(ours_ms);
        theirs.push_back(theirs_ms);
        ratios.push_back(ours_ms / theirs_ms);
    }
    std::printf("trend of %d parameters x %d samples (%d in all), 1200 x 600 pixels, %d rounds\n", lines,
                per_line, lines * per_line, rounds);
    std::printf("  trend_view, from the decimated history: %9.1f ms (median)\n", qz::bench::median(ours));
    std::printf("  Qt Charts fed every sample:             %9.1f ms (median)\n", qz::bench::median(theirs));
    std::printf("trend_view / Qt Charts, median of the rounds' ratios: %.3f (target: at most 0.1)\n",
                qz::bench::median(ratios));
    std::printf(
        "sample_history: %.1f bytes per sample held (resident memory of %d samples; 12 bytes of data each)\n",
        bytes_per_sample, lines * per_line);
    return 0;
}
