// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_FORM_SESSION_H
#define QZGUI_FORM_SESSION_H

#include "qzgui/qzgui_export.h"

#include "qzgui/ui_controller.h"

#include <QMap>
#include <QObject>
#include <QPair>
#include <QSet>
#include <QString>
#include <QVariant>
#include <QVector>

#include <cstdint>
#include <functional>

class QWidget;

namespace qz::gui {

class sat_worker;

/**
 * @class form_session form_session.h <qzgui/form_session.h>
 *
 * Keeps a parameter form and its device in step, so that the form never disagrees with the device
 * silently: every field either shows what the device holds or is a pending change (on the form
 * binding's changed list, underlined), and nothing else.
 *
 * The rules:
 * - A value from the device (a read) replaces what its field shows, an edit included (unless
 *   set_polling() says otherwise); a read replaces only the ids it read.
 *   Where a pending field cannot show the device's value, the edit stays, and on_pending_kept()
 *   says so.
 * - A confirmed write settles its field, unless the user edited the field again while the write
 *   ran: then the newer edit stays pending. A field whose change was discarded meanwhile shows
 *   what the device now holds.
 * - Failures and stops change nothing in the form: edits stay pending for the next write. A
 *   failed id gets an error hint (mark_failed()); error hints last until the next operation
 *   begins, or while polling until the field's value comes.
 * - Where the field cannot show the device's value (a profile's range, decimals or items), the
 *   field shows the nearest it can, always as a pending change: on_pending_kept() says so where
 *   an edit or a profile switch made it differ, on_value_not_shown() where the field already
 *   showed that nearest value.
 * - discard_changes() gives each pending field the device's value back by the same rules, and a
 *   field whose device value never came no value (show_no_values()).
 * - A read-only field (is_read_only()) is never a pending change: it shows the device's last value
 *   (or none), a spin box's range widened to hold it, and no edit, file or profile makes it one.
 *   Where it still cannot show the value (an item its combo box lacks), on_value_not_shown() says
 *   so when the value comes.
 * - An entry typed beyond a built form's spin box's range is refused whole: the field keeps its
 *   value, gets an error hint, and on_entry_refused() says why.
 *
 * The form binding is written with its loading flag clear, as an edit, so that a widget that
 * cannot take a value records the difference; the session takes it back off the changed list
 * where the device holds what the field shows.
 *
 * @code
 * qz::gui::ui_controller form(&widgets, &hints);
 * qz::gui::form_session session(&form, &widgets, &hints);
 * session.connect_worker(worker);                 // values, confirmed writes, operation begins
 * connect(worker, &sat_worker::on_get_param_request_error, this,
 *         [&](uint32_t id, const error_descriptor& err) {
 *             session.mark_failed(id, texts.get_error_descriptor_string(err));
 *         });
 * emit worker->set_params(session.pending_changes());
 * @endcode
 * GUI thread only. The session owns none of what it is given.
 * @see ui_controller, sat_worker, scan_form()
 */
class QZGUI_EXPORT form_session : public QObject {
    Q_OBJECT

public:
    /// The widget map a form binding is built with.
    using widget_map = QMap<uint32_t, QPair<widget_type_e, QObject*>>;

    /**
     * @param form the form binding to keep in step; not owned, must outlive the session
     * @param widgets the widget map @p form was built with; not owned
     * @param hints the hint widget map @p form was built with, or null; not owned
     * @param parent the parent object
     */
    form_session(ui_controller* form, const widget_map* widgets, const QMap<uint32_t, QWidget*>* hints,
                 QObject* parent = nullptr);

    /// Releases the session; the form and its maps are left alone.
    ~form_session() override;

    /**
     * Connects @p worker's values (on_get_param), confirmed writes (on_set_param) and operation
     * phases (on_operation_control) to the session. From the worker's thread they come queued.
     * Failures are the application's to show: pass their texts to mark_failed().
     */
    void connect_worker(const sat_worker* worker);

    /// @return the ids of the fields that hold a change not on the device, in the order of change
    const QVector<uint32_t>& pending_ids() const;

    /// @return whether the field of @p id holds a change not on the device
    bool is_pending(uint32_t id) const;

    /**
     * @return whether the field of @p id only shows the device's value: a read-only spin box or
     *         line edit, or a field marked with the dynamic property "qz_read_only" (build_form()
     *         marks its read-only fields so, its check and combo boxes among them)
     */
    bool is_read_only(uint32_t id) const;

    /// @return the pending changes as a write request (sat_worker::set_params())
    QVector<QPair<uint32_t, QVariant>> pending_changes() const;

    /**
     * @return what the fields show, as a parameter file keeps it (read_form_values()), leaving out
     * the fields that hold no value: neither the device's nor a pending change
     */
    QMap<uint32_t, QVariant> shown_values() const;
    /// @return the value the device last reported for each id (read or confirmed written)
    const QMap<uint32_t, QVariant>& device_values() const;

    /// @return what the field of @p id shows, as a write would send it; invalid for fields
    ///         without a value and for ids the form does not bind
    QVariant field_value(uint32_t id) const;

    /**
     * Sets how texts of the session show a value (default: QVariant::toString()), for instance to
     * show some fields in hexadecimal.
     */
    void set_value_formatter(std::function<QString(uint32_t id, const QVariant& value)> format);

    /**
     * While @p polling is true, reads come by themselves (a poller's sweeps), and two rules change
     * so that they do not undo what the user sees:
     * - A value read from the device no longer replaces a pending edit, which a sweep would
     *   otherwise take from under the user's hands before it is written: the device's value is
     *   noted, the field keeps the user's value, pending, and on_pending_kept() comes once for the
     *   edit, when the device's value first differs, not at every sweep of a value that keeps
     *   changing (a counter). Fields without an edit show the device's values as before;
     *   discard_changes() still gives pending fields the device's value back.
     * - An operation's beginning no longer ends error hints, as a sweep begins every interval: a
     *   field's error hint ends when its value next comes, and all of them at begin_operation(),
     *   which the application calls as it makes a request of its own.
     * Off by default.
     */
    void set_polling(bool polling);
    /// @return whether reads come by themselves (set_polling())
    bool is_polling() const;

    /**
     * Runs @p change, a change of the form that is not the user's (switching a widget profile):
     * fields it made pending settle again where they still show the device's value; the others
     * stay pending, to be written as they now show.
     */
    void reconfigure(const std::function<void()>& change);

    /**
     * Applies @p values (from a parameter file) as the user's edits: each value that differs from
     * its field becomes pending, and one that equals the device's value is no change. Values of
     * read-only fields are left alone (is_read_only()). A field
     * that showed no value takes its value as a pending change even where it equals what the
     * blank field held (a spin box's lowest value, a half-checked box's false).
     * @return the ids the form does not bind; their values were left alone
     * @see apply_as_changes()
     */
    QVector<uint32_t> apply_values(const QMap<uint32_t, QVariant>& values);

public Q_SLOTS:
    /// The device holds @p value for @p id (read): see the rules above.
    void show_device_value(uint32_t id, const QVariant& value);

    /// The device confirmed the write of @p value for @p id.
    void confirm_written(uint32_t id, const QVariant& value);

    /**
     * Reading or writing @p id failed: marks its field with an error hint showing @p text. The same
     * failure of a field already marked (a sweep after sweep) changes nothing.
     */
    void mark_failed(uint32_t id, const QString& text);

    /// Puts every pending field back to the device's value where the field can show it.
    void discard_changes();

    /// An operation begins: error hints belong to the one before and are cleared.
    void begin_operation();
    /**
     * Makes every field that holds neither a value of the device's nor a pending change show no
     * value: a check box half-checked, spin boxes at their lowest value shown blank (both show
     * values as usual again from their first one), line edits and labels empty, a combo box with
     * nothing chosen, a progress bar reset. Call it
     * once the form is built; discard_changes() and reconfigure() keep it so afterwards.
     *
     * What the user enters into such a field is a value like any other, shown as one: the lowest
     * value typed into a blank spin box too, taken with Enter or by leaving the field. A blank
     * spin box left blank, Enter pressed in it included, stays without a value.
     */
    void show_no_values();

Q_SIGNALS:
    /**
     * The field of @p id stays a pending change that differs from the device: it shows @p shown,
     * the device holds @p device (which the field cannot show, or which came while the user's
     * newer edit was pending).
     */
    void on_pending_kept(uint32_t id, const QVariant& shown, const QVariant& device);

    /**
     * The field of @p id cannot show the device's value @p device, already showed the nearest it
     * can, and became a pending change (a read-only field: stays without one); @p text says why
     * ("the device holds 55, which the active profile cannot show"). Said once for each value of
     * the device's, not at every read of the same value.
     */
    void on_value_not_shown(uint32_t id, const QVariant& device, const QString& text);

    /**
     * The user's entry @p entry into the field of @p id lies beyond its range and was refused: the
     * field keeps what it showed, and @p text says so ("6000 is beyond the range 0 to 5000; the
     * field keeps 1200"), as the field's error hint does.
     */
    void on_entry_refused(uint32_t id, const QString& entry, const QString& text);

private:
    void _show(uint32_t id, const QVariant& value);
    void _show_read_only(uint32_t id, const QVariant& value, bool news);
    void _settle(uint32_t id, bool tell = true);
    void _watch_range(uint32_t id, QObject* widget);
    void _two_states(uint32_t id);
    void _end_failure(uint32_t id);
    bool _holds_no_value(uint32_t id) const;
    void _take_entry(uint32_t id);
    void _watch_entries(uint32_t id, QWidget* box);
    bool _typed_value(const QWidget* box) const;
    QObject* _widget_of(uint32_t id) const;

    ui_controller* _form;
    const widget_map* _widgets;
    const QMap<uint32_t, QWidget*>* _hints;
    QMap<uint32_t, QVariant> _device;
    std::function<QString(uint32_t, const QVariant&)> _format;
    bool _polling = false;
    QSet<uint32_t> _kept_told;         // pending fields whose device value was said while polling
    QMap<uint32_t, QString> _failures; // the error hints shown, by id
    // Blank spin boxes whose typing is watched, and the text last typed into one of them: once
    // Qt took the text, a blank box shows blank again whether the user typed its lowest value or
    // nothing at all.
    QSet<const QObject*> _watched;
    const QObject* _entry_box = nullptr;
    QString _entry_text;
};

} // namespace qz::gui

#endif
