// SPDX-License-Identifier: BSD-3-Clause
#ifndef QZGUI_WIDGET_PROFILE_CONTROLLER_H
#define QZGUI_WIDGET_PROFILE_CONTROLLER_H

#include "qzgui/qzgui_export.h"
#include "qzgui/ui_controller.h"

#include <QMap>
#include <QPair>
#include <QString>
#include <QVariant>
#include <QVector>

#include <cstdint>
#include <memory>

class QWidget;

namespace qz::gui {

/// What a double spin box profile does with the box's value once the new range is set.
enum value_policy_e : int {
    keep_value = 0,  ///< the earlier value, clamped into the new range
    set_minimum = 1, ///< the profile's minimum
    set_maximum = 2  ///< the profile's maximum
};

/**
 * The part every widget profile has: the kind of widget it configures and whether the widget is
 * enabled afterwards. Built only through the records derived from it.
 * @see widget_profile_controller
 */
struct QZGUI_EXPORT widget_profile_t {
    widget_type_e type; ///< the kind of widget; set by the derived record
    bool enabled;       ///< whether the widget is enabled after the profile is applied

protected:
    /// For the derived records.
    widget_profile_t(widget_type_e type, bool enabled);
};

/// A spin box profile: range and step; the value is kept as far as the range allows.
struct QZGUI_EXPORT widget_profile_spinbox_t : widget_profile_t {
    /**
     * @param enabled whether the box is enabled afterwards
     * @param minimum the lowest value
     * @param maximum the highest value
     * @param step the single step
     */
    widget_profile_spinbox_t(bool enabled, int minimum, int maximum, int step);
    int32_t minimum; ///< lowest value
    int32_t maximum; ///< highest value
    int32_t step;    ///< single step
};

/// A double spin box profile: range, step, decimals and what happens to the value.
struct QZGUI_EXPORT widget_profile_doublespinbox_t : widget_profile_t {
    /**
     * @param enabled whether the box is enabled afterwards
     * @param minimum the lowest value
     * @param maximum the highest value
     * @param step the single step
     * @param decimals the decimals shown
     * @param policy what the value becomes once the range is set
     */
    widget_profile_doublespinbox_t(bool enabled, double minimum, double maximum, double step, int decimals,
                                   value_policy_e policy);
    double minimum;        ///< lowest value
    double maximum;        ///< highest value
    double step;           ///< single step
    int32_t decimals;      ///< decimals shown, set after the range
    value_policy_e policy; ///< the value afterwards; another number leaves it to the box
};

/// A label profile: its text.
struct QZGUI_EXPORT widget_profile_label_t : widget_profile_t {
    /**
     * @param enabled whether the label is enabled afterwards
     * @param text the label's text
     */
    widget_profile_label_t(bool enabled, const QString& text);
    QString text; ///< the label's text
};

/// A combo box profile: its choices. The selection is kept by item data where it still exists.
struct QZGUI_EXPORT widget_profile_combobox_t : widget_profile_t {
    /// @param enabled whether the box is enabled afterwards
    /// @param items the choices in display order: display text and user data
    widget_profile_combobox_t(bool enabled, const QVector<QPair<QString, QVariant>>& items);
    QVector<QPair<QString, QVariant>> items; ///< display text and user data of each choice
};

/**
 * Applies a profile record to a widget. The base class sets only the enabled state; each derived
 * handler configures its widget class first. A handler takes the widget and the record as the
 * classes of its kind, unchecked.
 */
class QZGUI_EXPORT widget_profile_handler {
public:
    /// Creates the handler; handlers hold no state.
    widget_profile_handler();
    /// Destroys the handler.
    virtual ~widget_profile_handler();
    /// Enables or disables @p widget as @p profile says.
    virtual void apply_profile(QWidget* widget, const widget_profile_t& profile);
};

/// Applies a widget_profile_spinbox_t to a QSpinBox.
class QZGUI_EXPORT widget_profile_handler_spinbox : public widget_profile_handler {
public:
    /// Creates the handler.
    widget_profile_handler_spinbox();
    /// Destroys the handler.
    ~widget_profile_handler_spinbox() override;
    /// Sets minimum, maximum and step, puts the earlier value back (clamped), then the enabled state.
    void apply_profile(QWidget* widget, const widget_profile_t& profile) override;
};

/// Applies a widget_profile_doublespinbox_t to a QDoubleSpinBox.
class QZGUI_EXPORT widget_profile_handler_doublespinbox : public widget_profile_handler {
public:
    /// Creates the handler.
    widget_profile_handler_doublespinbox();
    /// Destroys the handler.
    ~widget_profile_handler_doublespinbox() override;
    /// Sets minimum, maximum, step and decimals, the value by the policy, then the enabled state.
    void apply_profile(QWidget* widget, const widget_profile_t& profile) override;
};

/// Applies a widget_profile_combobox_t to a QComboBox.
class QZGUI_EXPORT widget_profile_handler_combobox : public widget_profile_handler {
public:
    /// Creates the handler.
    widget_profile_handler_combobox();
    /// Destroys the handler.
    ~widget_profile_handler_combobox() override;
    /// Refills the items, selects the item with the earlier item's data if there is one, then
    /// sets the enabled state.
    void apply_profile(QWidget* widget, const widget_profile_t& profile) override;
};

/// Applies a widget_profile_label_t to a QLabel.
class QZGUI_EXPORT widget_profile_handler_label : public widget_profile_handler {
public:
    /// Creates the handler.
    widget_profile_handler_label();
    /// Destroys the handler.
    ~widget_profile_handler_label() override;
    /// Sets the text, then the enabled state.
    void apply_profile(QWidget* widget, const widget_profile_t& profile) override;
};

/**
 * @class widget_profile_controller widget_profile_controller.h <qzgui/widget_profile_controller.h>
 *
 * Named sets of widget profiles for a form: register a list of (widget, record) pairs under a
 * profile id, then activate an id to configure those widgets in list order. Spin boxes, double
 * spin boxes, combo boxes and labels have profiles.
 *
 * Activating an unregistered id, or a record of another kind, is a programming error: an
 * assertion, active in every build, ends the process.
 *
 * Applying a profile changes values through the widgets' setters, so a bound form
 * (ui_controller) takes the changes for user edits unless its loading flag is set meanwhile.
 *
 * @code
 * qz::gui::widget_profile_controller profiles;
 * profiles.register_profile(0, {{ui->gain, std::make_shared<qz::gui::widget_profile_spinbox_t>(true, 0, 10,
 * 1)}}); profiles.register_profile(1, {{ui->gain, std::make_shared<qz::gui::widget_profile_spinbox_t>(true,
 * 0, 1000, 10)}}); form.set_loading_data(true); profiles.set_active_profile(1); form.set_loading_data(false);
 * @endcode
 */
class QZGUI_EXPORT widget_profile_controller {
public:
    /// Creates the controller with its four handlers and no profiles.
    widget_profile_controller();
    /// Releases the handlers and the controller's share of the records; widgets are untouched.
    ~widget_profile_controller();

    /**
     * Stores @p widgets under @p profile_id, replacing an earlier list of that id whole.
     * @param profile_id the id set_active_profile() takes
     * @param widgets (widget, record) pairs in the order they are applied; widgets are not owned,
     *        records are shared
     */
    void register_profile(uint32_t profile_id,
                          const QVector<QPair<QWidget*, std::shared_ptr<widget_profile_t>>>& widgets);

    /**
     * Applies the list registered under @p profile_id, pair by pair.
     * @pre @p profile_id is registered, and every record is of a kind with a handler (spin box,
     *      double spin box, combo box, label); otherwise the process ends
     */
    void set_active_profile(uint32_t profile_id);

private:
    QMap<widget_type_e, std::shared_ptr<widget_profile_handler>> _handlers;
    QMap<uint32_t, QVector<QPair<QWidget*, std::shared_ptr<widget_profile_t>>>> _profiles;
};

} // namespace qz::gui

#endif
