// SPDX-License-Identifier: BSD-3-Clause
#include "qzgui/trend/trend_view.h"

#include "qzgui/parameter_description.h"
#include "qzgui/parameter_id.h"
#include "qzgui/sample_history.h"

#include <QDateTime>
#include <QEvent>
#include <QGraphicsLayout>
#include <QLabel>
#include <QLocale>
#include <QMouseEvent>
#include <QVBoxLayout>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QDateTimeAxis>
#include <QtCharts/QLegendMarker>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

// Qt 5 keeps the charts in a namespace of their own.
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
QT_CHARTS_USE_NAMESPACE
#endif

namespace qz::gui {

namespace {

// A value as a built form's field writes it: in hexadecimal, with the decimals a hint gives, or as
// its shortest decimal, never in exponent form and without group separators.
QString value_text(const parameter_description& parameter, double value, const QLocale& locale)
{
    if (parameter.hexadecimal)
        return QStringLiteral("0x") + QString::number(quint32(qint64(value)), 16).toUpper();
    const bool rounded = parameter.type == QMetaType::Double && parameter.decimals >= 0;
    QString text = locale.toString(value, 'f', rounded ? parameter.decimals : QLocale::FloatingPointShortest);
    return text.remove(locale.groupSeparator());
}

constexpr qint64 default_span_ms = 10 * 60 * 1000;

QString legend_text(const parameter_description& parameter)
{
    const QString name = parameter.name.isEmpty() ? short_parameter_id_text(parameter.id) : parameter.name;
    return parameter.unit.isEmpty() ? name : QStringLiteral("%1 (%2)").arg(name, parameter.unit);
}

/// The lowest and highest value of some points, NaN (gaps) left out.
struct value_range_t {
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();

    void take(const QVector<QPointF>& points)
    {
        for (const QPointF& p : points) {
            if (!std::isnan(p.y())) {
                low = std::min(low, p.y());
                high = std::max(high, p.y());
            }
        }
    }

    /// Sets @p axis to the range with a margin, so that a line never lies on the plot's edge.
    void apply_to(QValueAxis* axis) const
    {
        if (low > high) {
            axis->setRange(0, 1);
            return;
        }
        const double margin = high > low ? (high - low) * 0.05 : std::max(std::abs(low) * 0.05, 1.0);
        axis->setRange(low - margin, high + margin);
    }
};

} // namespace

/// One parameter's line: one series per stretch between gaps, the first of them in the legend.
struct line_t {
    parameter_description parameter;
    QVector<QLineSeries*> pieces;
    QColor color;
    bool right = false;
};

struct trend_view::private_t {
    const sample_history* history = nullptr;
    QChart* chart = nullptr;
    QChartView* view = nullptr;
    QDateTimeAxis* time_axis = nullptr;
    QValueAxis* left_axis = nullptr;
    QValueAxis* right_axis = nullptr;
    QLabel* read_out = nullptr;
    qint64 span = default_span_ms;
    std::vector<line_t> lines;
    int colours_used = 0;
    // The range and width of the last redraw, for the read-out and to redraw when the width changes.
    qint64 from = 0;
    qint64 to = 0;
    int columns = 0;

    line_t* line(uint32_t id)
    {
        const auto it =
            std::find_if(lines.begin(), lines.end(), [id](const line_t& l) { return l.parameter.id == id; });
        return it == lines.end() ? nullptr : &*it;
    }

    QLineSeries* add_piece(line_t& line)
    {
        auto* series = new QLineSeries(chart);
        series->setColor(line.color);
        // QChart takes ownership; the legend shows the first piece only.
        chart->addSeries(series);
        series->attachAxis(time_axis);
        series->attachAxis(line.right ? right_axis : left_axis);
        if (line.pieces.isEmpty()) {
            series->setName(legend_text(line.parameter));
        } else {
            for (QLegendMarker* marker : chart->legend()->markers(series)) {
                marker->setVisible(false);
            }
        }
        line.pieces.append(series);
        return series;
    }

    /// The first line's unit is the left axis's; every line of another unit goes to the right one.
    void assign_axes()
    {
        QStringList right_units;
        for (line_t& line : lines) {
            const bool right = line.parameter.unit != lines.front().parameter.unit;
            if (right && !right_units.contains(line.parameter.unit)) {
                right_units.append(line.parameter.unit);
            }
            if (right == line.right) {
                continue;
            }
            line.right = right;
            for (QLineSeries* piece : line.pieces) {
                piece->detachAxis(right ? left_axis : right_axis);
                piece->attachAxis(right ? right_axis : left_axis);
            }
        }
        left_axis->setTitleText(lines.empty() ? QString() : lines.front().parameter.unit);
        right_axis->setTitleText(right_units.join(QStringLiteral(", ")));
        right_axis->setVisible(!right_units.isEmpty());
    }

    /// Draws @p points, gaps as NaN, as one series per stretch between gaps, into pieces refresh()
    /// emptied; pieces beyond the stretches stay empty for a later redraw.
    void draw(line_t& line, const QVector<QPointF>& points)
    {
        int piece = 0;
        QVector<QPointF> stretch;
        const auto flush = [&] {
            if (stretch.isEmpty()) {
                return;
            }
            QLineSeries* series = piece < line.pieces.size() ? line.pieces[piece] : add_piece(line);
            // A lone sample between two gaps draws no line; its point shows it.
            series->setPointsVisible(stretch.size() == 1);
            series->replace(stretch);
            stretch.clear();
            ++piece;
        };
        for (const QPointF& p : points) {
            if (std::isnan(p.y())) {
                flush();
            } else {
                stretch.append(p);
            }
        }
        flush();
    }

    /// @return the value of @p id at @p time: its last sample at or before it, NaN after a gap or none
    double value_at(uint32_t id, qint64 time) const
    {
        // Look back over a growing window, so that a dense history copies little and a sparse one
        // still finds its sample.
        for (qint64 window = std::max<qint64>((to - from) / std::max(columns, 1), 1);; window *= 4) {
            const QVector<QPointF> points = history->samples(id, time - window, time + 1);
            if (!points.isEmpty()) {
                return points.back().y();
            }
            if (window > span) {
                return std::numeric_limits<double>::quiet_NaN();
            }
        }
    }

    void show_read_out(int x_in_view)
    {
        const QRectF plot = chart->plotArea();
        const qreal x = chart->mapFromScene(view->mapToScene(QPoint(x_in_view, 0))).x();
        if (lines.empty() || to <= from || x < plot.left() || x > plot.right() || plot.width() <= 0) {
            read_out->clear();
            return;
        }
        const auto time = from + static_cast<qint64>((x - plot.left()) / plot.width() * double(to - from));
        const QLocale locale;
        QStringList parts{QDateTime::fromMSecsSinceEpoch(time).toString(QStringLiteral("HH:mm:ss.zzz"))};
        for (const line_t& line : lines) {
            const double value = value_at(line.parameter.id, time);
            QString text =
                std::isnan(value) ? QStringLiteral("–") : value_text(line.parameter, value, locale);
            if (!std::isnan(value) && !line.parameter.unit.isEmpty()) {
                text += QLatin1Char(' ') + line.parameter.unit;
            }
            const QString name = line.parameter.name.isEmpty() ? short_parameter_id_text(line.parameter.id)
                                                               : line.parameter.name;
            parts.append(QStringLiteral("%1: %2").arg(name, text));
        }
        read_out->setText(parts.join(QStringLiteral("   ")));
    }
};

trend_view::trend_view(const sample_history* history, QWidget* parent)
    : QWidget(parent)
    , _d(std::make_unique<private_t>())
{
    _d->history = history;
    _d->chart = new QChart;
    // A trend is often a small part of a window: no frame around the plot beyond its axes.
    _d->chart->layout()->setContentsMargins(0, 0, 0, 0);
    _d->chart->setBackgroundRoundness(0);
    _d->chart->legend()->setAlignment(Qt::AlignBottom);
    _d->time_axis = new QDateTimeAxis(_d->chart);
    _d->time_axis->setFormat(QStringLiteral("HH:mm:ss"));
    _d->left_axis = new QValueAxis(_d->chart);
    _d->right_axis = new QValueAxis(_d->chart);
    // Short labels ("0.25", "1e+06"): a fixed format's long ones are cut to "..." in a small trend.
    for (QValueAxis* axis : {_d->left_axis, _d->right_axis})
        axis->setLabelFormat(QStringLiteral("%.4g"));
    _d->right_axis->setVisible(false);
    _d->chart->addAxis(_d->time_axis, Qt::AlignBottom);
    _d->chart->addAxis(_d->left_axis, Qt::AlignLeft);
    _d->chart->addAxis(_d->right_axis, Qt::AlignRight);

    _d->view = new QChartView(_d->chart, this);
    _d->view->setObjectName(QStringLiteral("trend_chart"));
    _d->view->setRenderHint(QPainter::Antialiasing);
    _d->view->viewport()->setMouseTracking(true);
    _d->view->viewport()->installEventFilter(this);
    _d->read_out = new QLabel(this);
    _d->read_out->setObjectName(QStringLiteral("trend_read_out"));
    _d->read_out->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(_d->read_out);
    layout->addWidget(_d->view, 1);

    // A new width changes the columns of the decimation: redraw once the layout has settled.
    connect(_d->chart, &QChart::plotAreaChanged, this, [this](const QRectF& area) {
        if (static_cast<int>(area.width()) != _d->columns) {
            QMetaObject::invokeMethod(this, &trend_view::refresh, Qt::QueuedConnection);
        }
    });
    refresh();
}

trend_view::~trend_view() = default;

void trend_view::add_parameter(const parameter_description& parameter)
{
    if (_d->line(parameter.id)) {
        return;
    }
    line_t line;
    line.parameter = parameter;
    // The chart's own theme colours, in turn, so each parameter keeps its colour when others go.
    const QList<QColor> colours{QColor(0x20, 0x9f, 0xdf), QColor(0x99, 0xca, 0x53), QColor(0xf6, 0xa6, 0x25),
                                QColor(0x6d, 0x5f, 0xd5), QColor(0xbf, 0x59, 0x3e), QColor(0x38, 0xad, 0x6b),
                                QColor(0xd6, 0x3c, 0x8f), QColor(0x7a, 0x7a, 0x7a)};
    line.color = colours[_d->colours_used++ % colours.size()];
    line.right = !_d->lines.empty() && parameter.unit != _d->lines.front().parameter.unit;
    _d->lines.push_back(line);
    _d->add_piece(_d->lines.back());
    _d->assign_axes();
    refresh();
}

void trend_view::remove_parameter(uint32_t id)
{
    line_t* line = _d->line(id);
    if (!line) {
        return;
    }
    for (QLineSeries* piece : line->pieces) {
        _d->chart->removeSeries(piece);
        delete piece;
    }
    _d->lines.erase(_d->lines.begin() + (line - _d->lines.data()));
    _d->assign_axes();
    refresh();
}

QVector<uint32_t> trend_view::parameters() const
{
    QVector<uint32_t> ids;
    for (const line_t& line : _d->lines) {
        ids.append(line.parameter.id);
    }
    return ids;
}

void trend_view::set_span(qint64 ms)
{
    _d->span = std::max<qint64>(ms, 1);
    refresh();
}

qint64 trend_view::span() const
{
    return _d->span;
}

QString trend_view::read_out() const
{
    return _d->read_out->text();
}

void trend_view::refresh()
{
    qint64 newest = std::numeric_limits<qint64>::min();
    for (const line_t& line : _d->lines) {
        newest = std::max(newest, _d->history->newest_time(line.parameter.id));
    }
    if (newest == std::numeric_limits<qint64>::min()) {
        newest = QDateTime::currentMSecsSinceEpoch();
    }
    _d->to = newest + 1;
    _d->from = _d->to - _d->span;
    const QRectF plot = _d->chart->plotArea();
    _d->columns = static_cast<int>(plot.width());
    const int columns = std::max(_d->columns, 1);

    // The lines are emptied before the axes move: Qt Charts then works out each line's geometry
    // for its new points only, not for its old ones at every change of a range as well.
    value_range_t left;
    value_range_t right;
    std::vector<QVector<QPointF>> points;
    points.reserve(_d->lines.size());
    for (line_t& line : _d->lines) {
        points.push_back(_d->history->decimated(line.parameter.id, _d->from, _d->to, columns));
        (line.right ? right : left).take(points.back());
        for (QLineSeries* piece : line.pieces)
            piece->clear();
    }
    _d->time_axis->setRange(QDateTime::fromMSecsSinceEpoch(_d->from), QDateTime::fromMSecsSinceEpoch(_d->to));
    left.apply_to(_d->left_axis);
    right.apply_to(_d->right_axis);
    for (size_t i = 0; i < points.size(); ++i)
        _d->draw(_d->lines[i], points[i]);
    // A value label needs about 40 pixels of height: fewer ticks on a low plot, or Qt Charts cuts
    // every label to "...".
    const int ticks = std::clamp(int(plot.height() / 40) + 1, 2, 9);
    for (QValueAxis* axis : {_d->left_axis, _d->right_axis})
        if (axis->tickCount() != ticks)
            axis->setTickCount(ticks);
}

bool trend_view::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == _d->view->viewport()) {
        if (event->type() == QEvent::MouseMove) {
            _d->show_read_out(static_cast<QMouseEvent*>(event)->pos().x());
        } else if (event->type() == QEvent::Leave) {
            _d->read_out->clear();
        }
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace qz::gui
