// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_TREND_VIEW_H
#define QZGUI_TREND_VIEW_H

#include "qzgui/trend/trend_export.h"

#include <QWidget>

#include <cstdint>
#include <memory>

namespace qz::gui {

class sample_history;
struct parameter_description;

/**
 * @class trend_view trend_view.h <qzgui/trend/trend_view.h>
 *
 * A live trend of polled parameters: one line per parameter over a time span that ends at the
 * newest sample, drawn from a sample_history. The time axis is in local time; the values of the
 * first parameter's unit are on the left axis, those of any other unit on a second axis on the
 * right. A failed read breaks the line until the next sample, and the values under the mouse are
 * read out above the plot.
 *
 * It draws from sample_history::decimated(), at most four points per pixel column, so a redraw
 * costs the same for an hour of samples as for a minute's.
 *
 * Part of the companion library qzgui_trend (CMake target qzgui::trend), which links Qt Charts:
 * Qt Charts is GPLv3 for open-source users, so a host application that links this library takes
 * on those terms.
 *
 * @code
 * qz::gui::sample_history history;
 * auto* trend = new qz::gui::trend_view(&history, this);
 * trend->add_parameter(level);                         // legend "Signal level (dBm)"
 * connect(poller, &qz::gui::poller::on_sample, this, [&](uint32_t id, const QVariant& v, qint64 t) {
 *     history.add(id, t, v.toDouble());
 * });
 * connect(refresh_timer, &QTimer::timeout, trend, &qz::gui::trend_view::refresh);
 * @endcode
 *
 * GUI thread only.
 */
class QZGUI_TREND_EXPORT trend_view : public QWidget {
    Q_OBJECT
public:
    /// A trend of samples from @p history, which must outlive the view.
    explicit trend_view(const sample_history* history, QWidget* parent = nullptr);
    ~trend_view() override;

    /**
     * Adds a line for @p parameter, with the legend entry "name (unit)" (just the name when it has
     * no unit, its id as hex when it has no name). A parameter already shown is left as it is.
     */
    void add_parameter(const parameter_description& parameter);
    /// Removes the line of @p id; the next parameter then sets the left axis's unit.
    void remove_parameter(uint32_t id);
    /// @return the ids shown, in the order they were added
    QVector<uint32_t> parameters() const;

    /// Shows the last @p ms milliseconds (at least 1) before the newest sample; 10 minutes unless set.
    void set_span(qint64 ms);
    /// @return the time shown, in ms
    qint64 span() const;

    /// @return the text of the read-out: the time under the mouse and each parameter's value there
    QString read_out() const;

public Q_SLOTS:
    /// Redraws every line from the history, ending at the newest sample of the parameters shown.
    void refresh();

protected:
    /// Follows the mouse over the plot for the read-out.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct private_t;
    std::unique_ptr<private_t> _d;
};

} // namespace qz::gui

#endif
