// SPDX-License-Identifier: BSD-3-Clause
// The live trend drawn offscreen: legend and axes per unit, the decimated line, gaps as breaks,
// the span ending at the newest sample, and the read-out under the mouse.
#include "qzgui/parameter_description.h"
#include "qzgui/sample_history.h"
#include "qzgui/trend/trend_view.h"

#include <QApplication>
#include <QMouseEvent>
#include <QtCharts/QChartView>
#include <QtCharts/QDateTimeAxis>
#include <QtCharts/QLegendMarker>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>
#include <QtTest>

#include <cmath>

// Qt 5 keeps the charts in a namespace of their own.
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
QT_CHARTS_USE_NAMESPACE
#endif

using qz::gui::parameter_description;
using qz::gui::sample_history;
using qz::gui::trend_view;

namespace {

constexpr qint64 t0 = 1700000000000; // a fixed start, so that every run draws the same

parameter_description parameter(uint32_t id, const QString& name, const QString& unit)
{
    parameter_description p;
    p.id = id;
    p.name = name;
    p.unit = unit;
    p.type = QMetaType::Double;
    return p;
}

QChart* chart_of(trend_view& trend)
{
    auto* view = trend.findChild<QChartView*>(QStringLiteral("trend_chart"));
    return view ? view->chart() : nullptr;
}

// The series of a parameter's line: the one named in the legend and the pieces of the same colour.
QList<QLineSeries*> pieces_of(QChart* chart, const QString& legend)
{
    QColor colour;
    for (QAbstractSeries* s : chart->series()) {
        if (s->name() == legend)
            colour = static_cast<QLineSeries*>(s)->color();
    }
    QList<QLineSeries*> pieces;
    for (QAbstractSeries* s : chart->series()) {
        auto* line = static_cast<QLineSeries*>(s);
        if (colour.isValid() && line->color() == colour && line->count() > 0)
            pieces.append(line);
    }
    return pieces;
}

QStringList legend_entries(QChart* chart)
{
    QStringList entries;
    for (QLegendMarker* marker : chart->legend()->markers()) {
        if (marker->isVisible())
            entries.append(marker->label());
    }
    return entries;
}

QValueAxis* value_axis(QAbstractSeries* series)
{
    for (QAbstractAxis* axis : series->attachedAxes()) {
        if (axis->orientation() == Qt::Vertical)
            return static_cast<QValueAxis*>(axis);
    }
    return nullptr;
}

QDateTimeAxis* time_axis(QChart* chart)
{
    return static_cast<QDateTimeAxis*>(chart->axes(Qt::Horizontal).value(0));
}

// Shows the trend offscreen at a fixed size and lets the chart lay itself out.
void show(trend_view& trend)
{
    trend.resize(800, 500);
    trend.show();
    QVERIFY(QTest::qWaitForWindowExposed(&trend));
    QTRY_VERIFY(chart_of(trend)->plotArea().width() > 100);
    trend.refresh();
}

bool near_colour(QRgb pixel, const QColor& colour)
{
    return std::abs(qRed(pixel) - colour.red()) + std::abs(qGreen(pixel) - colour.green())
        + std::abs(qBlue(pixel) - colour.blue())
        < 90;
}

// How many pixels of the image, in the columns [x0, x1) and the rows [y0, y1), have about the colour.
int pixels_near(const QImage& image, int x0, int x1, int y0, int y1, const QColor& colour)
{
    int n = 0;
    for (int y = std::max(y0, 0); y < std::min(y1, image.height()); ++y) {
        for (int x = std::max(x0, 0); x < std::min(x1, image.width()); ++x) {
            if (near_colour(image.pixel(x, y), colour))
                ++n;
        }
    }
    return n;
}

void move_mouse(trend_view& trend, qreal fraction)
{
    auto* view = trend.findChild<QChartView*>(QStringLiteral("trend_chart"));
    const QRectF plot = view->chart()->plotArea();
    const QPointF in_scene =
        view->chart()->mapToScene(QPointF(plot.left() + plot.width() * fraction, plot.center().y()));
    const QPoint at = view->mapFromScene(in_scene);
    QMouseEvent move(QEvent::MouseMove, at, view->viewport()->mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QApplication::sendEvent(view->viewport(), &move);
}

} // namespace

class tst_trend_view : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QLocale::setDefault(QLocale::c()); }

    void legend_names_each_line_with_its_unit();
    void a_second_unit_goes_to_the_right_axis();
    void the_span_ends_at_the_newest_sample_in_local_time();
    void lines_are_the_decimated_samples();
    void a_gap_breaks_the_line();
    void the_read_out_gives_the_values_under_the_mouse();
    void the_read_out_writes_numbers_as_the_form_does();
    void an_empty_trend_draws_nothing();
    void a_low_plot_has_fewer_value_labels();
};

void tst_trend_view::legend_names_each_line_with_its_unit()
{
    sample_history history;
    trend_view trend(&history);
    trend.add_parameter(parameter(1, QStringLiteral("Temperature"), QStringLiteral("°C")));
    trend.add_parameter(parameter(2, QStringLiteral("Count"), QString()));
    trend.add_parameter(parameter(0x2A, QString(), QStringLiteral("V")));
    trend.add_parameter(parameter(1, QStringLiteral("Again"), QStringLiteral("K"))); // already shown
    show(trend);
    QCOMPARE(trend.parameters(), (QVector<uint32_t>{1, 2, 0x2A}));
    QCOMPARE(legend_entries(chart_of(trend)),
             (QStringList{QStringLiteral("Temperature (°C)"), QStringLiteral("Count"),
                          QStringLiteral("0x002A (V)")}));

    trend.remove_parameter(2);
    trend.remove_parameter(99); // not shown: nothing happens
    QCOMPARE(trend.parameters(), (QVector<uint32_t>{1, 0x2A}));
    QCOMPARE(legend_entries(chart_of(trend)),
             (QStringList{QStringLiteral("Temperature (°C)"), QStringLiteral("0x002A (V)")}));
}

void tst_trend_view::a_second_unit_goes_to_the_right_axis()
{
    sample_history history;
    for (int i = 0; i < 10; ++i) {
        history.add(1, t0 + i * 1000, 20 + i);
        history.add(2, t0 + i * 1000, 22);
        history.add(3, t0 + i * 1000, 1000 + 100 * i);
    }
    trend_view trend(&history);
    trend.add_parameter(parameter(1, QStringLiteral("Temperature"), QStringLiteral("°C")));
    trend.add_parameter(parameter(2, QStringLiteral("Setpoint"), QStringLiteral("°C")));
    trend.add_parameter(parameter(3, QStringLiteral("Pressure"), QStringLiteral("mbar")));
    show(trend);
    QChart* chart = chart_of(trend);
    QValueAxis* temperature = value_axis(pieces_of(chart, QStringLiteral("Temperature (°C)")).value(0));
    QValueAxis* setpoint = value_axis(pieces_of(chart, QStringLiteral("Setpoint (°C)")).value(0));
    QValueAxis* pressure = value_axis(pieces_of(chart, QStringLiteral("Pressure (mbar)")).value(0));
    QVERIFY(temperature && pressure);
    QCOMPARE(setpoint, temperature);
    QVERIFY(pressure != temperature);
    QCOMPARE(chart->axes(Qt::Vertical, chart->series().value(0)).value(0)->alignment(), Qt::AlignLeft);
    QCOMPARE(pressure->alignment(), Qt::AlignRight);
    QVERIFY(pressure->isVisible());
    QCOMPARE(temperature->titleText(), QStringLiteral("°C"));
    QCOMPARE(pressure->titleText(), QStringLiteral("mbar"));
    // Each axis spans its own lines' values, with a margin.
    QVERIFY(temperature->min() < 20 && temperature->max() > 29 && temperature->max() < 31);
    QVERIFY(pressure->min() < 1000 && pressure->max() > 1900 && pressure->max() < 2000);

    // Without the °C lines, the pressure's unit is the first: it moves to the left axis.
    trend.remove_parameter(1);
    trend.remove_parameter(2);
    QValueAxis* alone = value_axis(pieces_of(chart, QStringLiteral("Pressure (mbar)")).value(0));
    QCOMPARE(alone->alignment(), Qt::AlignLeft);
    QCOMPARE(alone->titleText(), QStringLiteral("mbar"));
    const auto right = chart->axes(Qt::Vertical);
    QVERIFY(std::none_of(right.begin(), right.end(), [](QAbstractAxis* a) {
        return a->alignment() == Qt::AlignRight && a->isVisible();
    }));
}

void tst_trend_view::the_span_ends_at_the_newest_sample_in_local_time()
{
    sample_history history;
    for (int i = 0; i <= 600; ++i)
        history.add(7, t0 + i * 1000, i);
    trend_view trend(&history);
    trend.add_parameter(parameter(7, QStringLiteral("Level"), QString()));
    QCOMPARE(trend.span(), qint64(600000));
    trend.set_span(60000);
    show(trend);
    QDateTimeAxis* axis = time_axis(chart_of(trend));
    QCOMPARE(axis->max().toMSecsSinceEpoch(), t0 + 600000 + 1);
    QCOMPARE(axis->min().toMSecsSinceEpoch(), t0 + 540000 + 1);
    QCOMPARE(axis->max().timeSpec(), Qt::LocalTime);
    const QList<QLineSeries*> pieces = pieces_of(chart_of(trend), QStringLiteral("Level"));
    QCOMPARE(pieces.size(), 1);
    // The samples of the last minute only: 541 s to 600 s.
    QCOMPARE(pieces[0]->at(0).x(), double(t0 + 541000));
    QCOMPARE(pieces[0]->at(pieces[0]->count() - 1).x(), double(t0 + 600000));

    // A new sample moves the span along with the next refresh.
    history.add(7, t0 + 601000, 601);
    trend.refresh();
    QCOMPARE(axis->max().toMSecsSinceEpoch(), t0 + 601000 + 1);
}

void tst_trend_view::lines_are_the_decimated_samples()
{
    // An hour at 10 Hz: far more samples than pixels.
    sample_history history;
    for (int i = 0; i < 36000; ++i)
        history.add(5, t0 + i * 100, std::sin(i / 300.0) * 100 + (i % 7));
    trend_view trend(&history);
    trend.add_parameter(parameter(5, QStringLiteral("Wave"), QStringLiteral("mV")));
    trend.set_span(3600000);
    show(trend);
    QChart* chart = chart_of(trend);
    const int columns = int(chart->plotArea().width());
    const QList<QLineSeries*> pieces = pieces_of(chart, QStringLiteral("Wave (mV)"));
    QCOMPARE(pieces.size(), 1);
    const qint64 to = t0 + 35999 * 100 + 1;
    const QVector<QPointF> expected = history.decimated(5, to - 3600000, to, columns);
    QVERIFY(expected.size() <= 4 * columns);
    QVERIFY(expected.size() < 36000 / 4);
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    const QList<QPointF> drawn = pieces[0]->points();
#else
    const QVector<QPointF> drawn = pieces[0]->pointsVector();
#endif
    QCOMPARE(drawn.size(), expected.size());
    for (int i = 0; i < drawn.size(); ++i)
        QCOMPARE(drawn[i], expected[i]);
}

void tst_trend_view::a_gap_breaks_the_line()
{
    // A flat line at 5 from 0 s to 100 s, with no value from 40 s to 60 s.
    sample_history history;
    for (int i = 0; i <= 100; ++i) {
        if (i == 40)
            history.add_gap(1, t0 + i * 1000);
        else if (i < 40 || i >= 60)
            history.add(1, t0 + i * 1000, 5);
    }
    history.add(2, t0, 0); // a second line sets the scale, so the flat one is mid-plot
    history.add(2, t0 + 100000, 10);
    trend_view trend(&history);
    trend.add_parameter(parameter(1, QStringLiteral("Flat"), QString()));
    trend.add_parameter(parameter(2, QStringLiteral("Scale"), QString()));
    trend.set_span(100001);
    show(trend);
    QChart* chart = chart_of(trend);
    const QList<QLineSeries*> pieces = pieces_of(chart, QStringLiteral("Flat"));
    QCOMPARE(pieces.size(), 2);
    QCOMPARE(pieces[0]->at(pieces[0]->count() - 1).x(), double(t0 + 39000));
    QCOMPARE(pieces[1]->at(0).x(), double(t0 + 60000));
    QCOMPARE(legend_entries(chart), (QStringList{QStringLiteral("Flat"), QStringLiteral("Scale")}));
    // Drawn: the flat line's colour is on both sides of the gap and not inside it.
    pieces_of(chart, QStringLiteral("Scale"))[0]->setVisible(false);
    auto* view = trend.findChild<QChartView*>(QStringLiteral("trend_chart"));
    const QImage image = view->grab().toImage();
    const auto x_of = [&](qint64 time) {
        const QPointF in_chart = chart->mapToPosition(QPointF(double(time), 5), pieces[0]);
        return view->mapFromScene(chart->mapToScene(in_chart)).x();
    };
    const QColor colour = pieces[0]->color();
    // The plot's rows only: the legend below shows the line's colour too.
    const QRect plot = view->mapFromScene(chart->mapToScene(chart->plotArea())).boundingRect();
    const auto in_plot = [&](qint64 from, qint64 to) {
        return pixels_near(image, x_of(from), x_of(to), plot.top(), plot.bottom(), colour);
    };
    QVERIFY(in_plot(t0 + 5000, t0 + 35000) > 20);
    QVERIFY(in_plot(t0 + 65000, t0 + 95000) > 20);
    QCOMPARE(in_plot(t0 + 42000, t0 + 58000), 0);
}

void tst_trend_view::the_read_out_gives_the_values_under_the_mouse()
{
    // 1.5 °C in the first half, nothing known around the middle, 7.25 °C in the second half.
    sample_history history;
    for (int i = 0; i <= 100; ++i) {
        if (i == 45)
            history.add_gap(1, t0 + i * 1000);
        else if (i < 45 || i > 55)
            history.add(1, t0 + i * 1000, i < 50 ? 1.5 : 7.25);
    }
    trend_view trend(&history);
    trend.add_parameter(parameter(1, QStringLiteral("Temperature"), QStringLiteral("°C")));
    trend.set_span(100001);
    show(trend);
    QVERIFY(trend.read_out().isEmpty());
    move_mouse(trend, 0.25);
    QVERIFY2(trend.read_out().contains(QStringLiteral("Temperature: 1.5 °C")), qPrintable(trend.read_out()));
    QVERIFY(trend.read_out().startsWith(
        QDateTime::fromMSecsSinceEpoch(t0 + 25000).toString(QStringLiteral("HH:mm:"))));
    move_mouse(trend, 0.5);
    QVERIFY2(trend.read_out().contains(QStringLiteral("Temperature: –")), qPrintable(trend.read_out()));
    move_mouse(trend, 0.8);
    QVERIFY2(trend.read_out().contains(QStringLiteral("Temperature: 7.25 °C")), qPrintable(trend.read_out()));
    // Outside the plot, no read-out.
    move_mouse(trend, -0.2);
    QVERIFY(trend.read_out().isEmpty());
}

void tst_trend_view::the_read_out_writes_numbers_as_the_form_does()
{
    sample_history history;
    for (int i = 0; i <= 100; ++i) {
        history.add(1, t0 + i * 1000, 123456789.125);
        history.add(2, t0 + i * 1000, 433.9);
        history.add(3, t0 + i * 1000, 65280);
    }
    trend_view trend(&history);
    trend.add_parameter(parameter(1, QStringLiteral("Energy"), QString()));
    parameter_description frequency = parameter(2, QStringLiteral("Frequency"), QString());
    frequency.decimals = 3;
    trend.add_parameter(frequency);
    parameter_description mask = parameter(3, QStringLiteral("Mask"), QString());
    mask.type = QMetaType::UInt;
    mask.hexadecimal = true;
    trend.add_parameter(mask);
    trend.set_span(100001);
    show(trend);
    move_mouse(trend, 0.5);
    // Every digit, not 1.234567891e+08; the hint's decimals; hexadecimal as the field shows it.
    QVERIFY2(trend.read_out().contains(QStringLiteral("Energy: 123456789.125")),
             qPrintable(trend.read_out()));
    QVERIFY2(trend.read_out().contains(QStringLiteral("Frequency: 433.900")), qPrintable(trend.read_out()));
    QVERIFY2(trend.read_out().contains(QStringLiteral("Mask: 0xFF00")), qPrintable(trend.read_out()));
}

void tst_trend_view::an_empty_trend_draws_nothing()
{
    sample_history history;
    trend_view trend(&history);
    trend.add_parameter(parameter(1, QStringLiteral("Never read"), QString()));
    show(trend);
    QVERIFY(pieces_of(chart_of(trend), QStringLiteral("Never read")).isEmpty());
    move_mouse(trend, 0.5);
    QVERIFY2(trend.read_out().contains(QStringLiteral("Never read: –")), qPrintable(trend.read_out()));
}

void tst_trend_view::a_low_plot_has_fewer_value_labels()
{
    // Qt Charts cuts a value label it has no height for to "...": a low trend gets fewer of them.
    sample_history history;
    for (int i = 0; i < 100; ++i)
        history.add(1, t0 + i * 1000, i);
    trend_view trend(&history);
    trend.add_parameter(parameter(1, QStringLiteral("Level"), QStringLiteral("%")));
    const auto ticks_at = [&](int height) {
        trend.resize(800, height);
        QApplication::processEvents();
        trend.refresh();
        QChart* chart = chart_of(trend);
        auto* axis = static_cast<QValueAxis*>(chart->axes(Qt::Vertical).value(0));
        QVERIFY2(axis->tickCount() >= 2 && axis->tickCount() <= int(chart->plotArea().height() / 40) + 1,
                 qPrintable(QStringLiteral("%1 ticks on a plot %2 high")
                                .arg(axis->tickCount())
                                .arg(chart->plotArea().height())));
    };
    trend.show();
    QVERIFY(QTest::qWaitForWindowExposed(&trend));
    ticks_at(200);
    ticks_at(600);
}

QTEST_MAIN(tst_trend_view)
#include "tst_trend_view.moc"
