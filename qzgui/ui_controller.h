// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_UI_CONTROLLER_H
#define QZGUI_UI_CONTROLLER_H

#include "qzgui/qzgui_export.h"

#include <QMap>
#include <QObject>
#include <QPair>
#include <QVariant>
#include <QVector>

#include <cstdint>

class QWidget;

namespace qz::gui {

/// The kind of a bound form widget; also the kind of a widget profile record.
enum widget_type_e : int {
    checkbox = 0,      ///< QCheckBox, watched through clicked(bool)
    lineedit = 1,      ///< QLineEdit, watched through textChanged(QString)
    spinbox = 2,       ///< QSpinBox, watched through valueChanged(int)
    doublespinbox = 3, ///< QDoubleSpinBox, watched through valueChanged(double)
    combobox = 4,      ///< QComboBox, written and read by item data; watched through its current text
    label = 5,         ///< QLabel, written only
    progressbar = 6,   ///< QProgressBar, written only
    datetimeedit = 7,  ///< QDateTimeEdit, watched through dateTimeChanged(QDateTime)
    inert = 8          ///< accepted in a form but never watched, written or read
};

/**
 * @class ui_controller ui_controller.h <qzgui/ui_controller.h>
 *
 * Binds the widgets of a parameter form to parameter ids: writes values into them, notices the
 * user's edits, keeps the list of changed parameters for writing them back, and shows hints.
 *
 * The form owns the widget map (id to widget kind and widget) and the optional hint widget map
 * (id to the widget that shows the id's hints, such as a label beside the input); both, and
 * their widgets, must outlive the controller. Bindings are fixed at construction.
 *
 * Values from the device are written with set_data() while the loading flag is set, so that the
 * widgets' change signals are not taken for edits. A user edit adds the id to the changed list
 * (once, in the order of first change), underlines its hint widget and emits on_data_changed().
 * collect_changed_params() yields the changed values as a write request for the device worker.
 *
 * @code
 * QMap<uint32_t, QPair<qz::gui::widget_type_e, QObject*>> widgets{
 *     {0x10, {qz::gui::spinbox, ui->gain}}, {0x11, {qz::gui::checkbox, ui->enabled}}};
 * QMap<uint32_t, QWidget*> hints{{0x10, ui->gain_label}, {0x11, ui->enabled}};
 * qz::gui::ui_controller form(&widgets, &hints);
 *
 * form.set_loading_data(true);
 * form.set_data(0x10, 42);           // a value read from the device
 * form.set_loading_data(false);
 *
 * QVector<QPair<uint32_t, QVariant>> changes;
 * form.collect_changed_params(changes);
 * emit worker->set_params(changes);
 * @endcode
 * GUI thread only.
 * @see sat_worker, widget_profile_controller
 */
class QZGUI_EXPORT ui_controller : public QObject {
    Q_OBJECT

public:
    /**
     * Binds the widgets and watches the editable ones.
     * @param widgets id to (kind, widget); not owned. A widget bound to several ids reports its
     *        edits under the highest of them.
     * @param hint_widgets id to hint widget; not owned; null for a form without hints
     * @throws std::runtime_error "invalid parameter" for a kind above 8
     */
    ui_controller(QMap<uint32_t, QPair<widget_type_e, QObject*>>* widgets,
                  QMap<uint32_t, QWidget*>* hint_widgets);

    /// Releases the controller; the maps and widgets are left alone.
    ~ui_controller() override;

    /**
     * Writes @p value into the widget of @p id; an id without a widget is ignored. A combo box
     * selects the item whose user data equals value.toUInt(), or none (index -1).
     * @throws std::runtime_error "invalid parameter" for an inert widget
     */
    void set_data(uint32_t id, const QVariant& value);

    /// While @p loading is true, widget changes are not taken for user edits.
    void set_loading_data(bool loading);
    /// @return whether widget changes are currently ignored
    bool get_loading_data() const;

    /// @return whether the user changed any parameter
    bool has_changed_parameters();

    /// @return whether @p id is on the changed list; cheap enough to ask for every value
    bool is_changed_parameter(uint32_t id) const;

    /// @return the changed list: the ids the user changed, in the order of first change
    const QVector<uint32_t>& changed_parameters() const;

    /**
     * Puts @p id on the changed list as an edit does (once, underlined, on_data_changed()), for a
     * change the form made without an edit: a widget that shows another value than the device's
     * because it cannot take the device's. An id without a widget is ignored.
     */
    void add_changed_parameter(uint32_t id);

    /// Takes @p id off the changed list (typically after its write succeeded); hints stay.
    void remove_changed_parameter(uint32_t id);

    /// Empties the changed list; hints stay.
    void clear_changed_parameters();

    /**
     * Appends (id, current widget value) for every changed parameter, in the order of first
     * change, to @p out; labels and progress bars give nothing. The list stays as it is.
     * @param out not emptied first; ready for sat_worker::set_params()
     */
    void collect_changed_params(QVector<QPair<uint32_t, QVariant>>& out);

    /**
     * Puts the changed widgets back to @p values (ids missing there keep their content), removes
     * their changed hints and empties the changed list. The loading flag is false afterwards.
     */
    void discard_changes(const QMap<uint32_t, QVariant>& values);

    /**
     * Shows (red background, and @p text as a tool tip when not empty) or removes the error hint
     * on the hint widget of @p id. Replaces the hint widget's style sheet.
     */
    void set_hint_for_error(uint32_t id, bool error, const QString& text);

    /// Underlines (or not) the font of the hint widget of @p id; @p text is not used.
    void set_hint_for_changed_value(uint32_t id, bool changed, const QString& text);

    /// Removes both hints from every hint widget; the changed list stays.
    void clear_hints();

Q_SIGNALS:
    /// The user edited the widget of @p param (emitted for every edit).
    void on_data_changed(uint32_t param);

private Q_SLOTS:
    void _on_data_changed();

private:
    using binding_t = QPair<widget_type_e, QObject*>;

    void _build_data_object_parameter_map();
    void _connect_signals();
    const binding_t* _binding(uint32_t id) const;
    void _mark_changed(uint32_t id);

    QMap<uint32_t, binding_t>* _widgets;
    QMap<uint32_t, QWidget*>* _hint_widgets;
    QMap<QObject*, uint32_t> _parameters_by_widget;
    QVector<uint32_t> _changed;
    bool _loading = false;
};

} // namespace qz::gui

#endif
