// SPDX-License-Identifier: BSD-3-Clause
// qzpanel's Monitor tab: chosen parameters polled at an interval, drawn as a trend and recorded.
#ifndef QZPANEL_MONITOR_TAB_H
#define QZPANEL_MONITOR_TAB_H

#include <qzgui/parameter_description.h>
#include <qzgui/sample_history.h>

#include <QWidget>

#include <memory>

class QLabel;
class QListWidget;
class QPushButton;
class QSpinBox;
class QTimer;

namespace qz::gui {
class poller;
class sample_recorder;
class sat_worker;
class trend_view;
} // namespace qz::gui

namespace qz::panel {

/**
 * The map's numeric and boolean parameters to tick, an interval, Start and Stop, the trend of the
 * ticked ones, and Record to CSV. Polling goes through the window's worker, so its values reach
 * the form too; when the device is lost it goes on by itself and resumes when the device is back.
 */
class monitor_tab : public QWidget {
    Q_OBJECT
public:
    /// The parameters of @p parameters that a trend can draw; polled through @p worker.
    monitor_tab(const QVector<qz::gui::parameter_description>& parameters, qz::gui::sat_worker* worker,
                QWidget* parent = nullptr);
    ~monitor_tab() override;

    /// Ticks exactly @p ids (others of the list unticked).
    void set_ticked(const QVector<uint32_t>& ids);
    /// @return the ticked ids, in the list's order
    QVector<uint32_t> ticked() const;
    /// @return the ids the list offers
    QVector<uint32_t> offered() const;
    /// Sets the interval from the start of one sweep to the start of the next; the one last
    /// started with is remembered in the settings for the next time.
    void set_interval(int ms);

    /// Starts polling the ticked parameters. @return an error's text, or empty
    QString start();
    /// Stops polling (and recording); at most the sweep in progress ends.
    void stop();
    /// @return whether polling
    bool is_active() const;
    /// @return the interval set, in ms
    int interval() const;
    /// @return the ids being polled
    QVector<uint32_t> polled() const { return _polled; }

    /**
     * Records the polled values to the CSV file @p path from now on; a recording to another file
     * ends once this one is open, and goes on where it cannot be. @return an error's text, or empty
     */
    QString record(const QString& path);
    /// Stops recording, not monitoring; the file is written out and closed.
    void stop_recording();
    /// @return the rows written to the CSV file, or -1 when not recording
    int recorded_rows() const;

    /// @return the poller, which also tells when the window's own requests are over
    qz::gui::poller* poller() const { return _poller.get(); }
    const qz::gui::sample_history& history() const { return _history; }
    qz::gui::trend_view* trend() const { return _trend; }
    QPushButton* start_button() const { return _start; }
    QPushButton* stop_button() const { return _stop; }
    QLabel* recording_label() const { return _recording; }
    QPushButton* record_button() const { return _record; }
    QPushButton* stop_recording_button() const { return _stop_recording; }
    QSpinBox* interval_field() const { return _interval; }

Q_SIGNALS:
    /// The device was lost (@p up false) or is back; @p text is the catalogue's.
    void link_changed(bool up, const QString& text);
    /// Polling started (@p active) or stopped.
    void activity_changed(bool active);
    /// Something worth the log: @p warning or information.
    void report(bool warning, const QString& text);

private:
    void _ask_record();
    void _show_recording();
    void _update_buttons();

    QVector<qz::gui::parameter_description> _parameters;
    qz::gui::sample_history _history;
    std::unique_ptr<qz::gui::poller> _poller;
    std::unique_ptr<qz::gui::sample_recorder> _recorder;
    QString _record_path;
    QVector<uint32_t> _polled;
    QListWidget* _list = nullptr;
    QSpinBox* _interval = nullptr;
    QPushButton* _start = nullptr;
    QPushButton* _stop = nullptr;
    QPushButton* _record = nullptr;
    QPushButton* _stop_recording = nullptr;
    QLabel* _recording = nullptr;
    qz::gui::trend_view* _trend = nullptr;
    QTimer* _redraw = nullptr;
};

} // namespace qz::panel

#endif
