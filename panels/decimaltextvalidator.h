// A number field that takes a decimal point or a decimal comma, whatever the system's
// locale: the text is read with the C locale, then with the system locale, then with
// its comma taken as the point. Group separators are not taken in any form, so that a
// comma never turns 0,5 into 5. Range and decimals are those of QDoubleValidator.
#pragma once

#include <QDoubleValidator>

#include <array>
#include <optional>

namespace PluginDevControl {

class DecimalTextValidator : public QDoubleValidator
{
public:
    DecimalTextValidator(double bottom, double top, int decimals, QObject* parent);

    // The best of the forms: acceptable if any form is a number in range.
    State validate(QString& input, int& pos) const override;
    // Leaves the text as typed: the field's owner decides what a half-typed number
    // becomes (the base class would reformat "1,2" into "1.20e+01").
    void fixup(QString& input) const override;

    // The value of text in the first form that is acceptable, none otherwise.
    std::optional<double> valueOf(const QString& text) const;

private:
    // The locales of the forms, in the order they are tried.
    struct Form
    {
        QLocale locale;
        bool commaAsPoint;
    };
    static std::array<Form, 3> forms();
    State check(const Form& form, const QString& text) const;
};

} // namespace PluginDevControl
