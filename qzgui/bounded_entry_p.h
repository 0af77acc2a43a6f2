// SPDX-License-Identifier: BSD-3-Clause
// Internal: what a built form's spin boxes share about an entry beyond their range. Not installed.
#ifndef QZGUI_BOUNDED_ENTRY_P_H
#define QZGUI_BOUNDED_ENTRY_P_H

#include <QLocale>
#include <QString>
#include <QValidator>

class QWidget;

namespace qz::gui {

/**
 * An entry typed beyond a spin box's range. Qt's spin boxes refuse the keystroke that leaves the
 * range, so typing 6000 into a field that ends at 5000 silently keeps 600. A built form's boxes
 * derive from this as well: they hold such a text as intermediate input, refuse it whole when the
 * entry ends (the field keeps its value), and keep the text for form_session to say why.
 */
class bounded_entry {
public:
    /// The range and affixes of the box an entry is typed into.
    struct box_t {
        QString prefix;
        QString suffix;
        QLocale locale;
        double low;
        double high;
    };

    virtual ~bounded_entry();

    /// @return the entry refused since the last call, as typed, or empty
    QString take_refused();
    /// @return the range as the box writes it: "0 to 60 dB"
    virtual QString range_text() const = 0;

protected:
    /// @return @p state, or Intermediate where @p text names a number beyond @p box's range
    static QValidator::State allow_beyond(QValidator::State state, const QString& text, const box_t& box);
    /// Keeps @p text as refused where it names a number beyond @p box's range (from fixup(), const).
    void refuse_beyond(const QString& text, const box_t& box) const;
    /// @return "LOW to HIGH" from the box's texts of its bounds, with its prefix and suffix
    static QString range_text(const QString& low, const QString& high, const box_t& box);

private:
    mutable QString _refused;
};

/**
 * A spin box of a built form (QSpinBox or QDoubleSpinBox) that refuses an entry beyond its range
 * whole, and takes a value when the entry ends (Enter, leaving the field, a step): typing 6 on the
 * way to 60 is no value of its own.
 */
template <typename Box>
class bounded_box : public Box, public bounded_entry {
public:
    explicit bounded_box(QWidget* parent = nullptr)
        : Box(parent)
    {
        this->setKeyboardTracking(false);
    }

    QString range_text() const override
    {
        // Without group separators, as the box takes numbers (QSpinBox keeps one in INT_MIN).
        const auto text = [this](auto value) {
            return this->textFromValue(value).remove(this->locale().groupSeparator());
        };
        return bounded_entry::range_text(text(this->minimum()), text(this->maximum()), _box());
    }

protected:
    QValidator::State validate(QString& text, int& position) const override
    {
        return allow_beyond(Box::validate(text, position), text, _box());
    }

    void fixup(QString& text) const override
    {
        refuse_beyond(text, _box());
        Box::fixup(text);
    }

private:
    box_t _box() const
    {
        return {this->prefix(), this->suffix(), this->locale(), double(this->minimum()),
                double(this->maximum())};
    }
};

} // namespace qz::gui

#endif
