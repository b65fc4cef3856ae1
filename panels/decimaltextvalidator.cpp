#include "decimaltextvalidator.h"

#include <algorithm>

namespace PluginDevControl {

namespace {

QLocale withoutGroups(QLocale locale)
{
    locale.setNumberOptions(locale.numberOptions() | QLocale::RejectGroupSeparator);
    return locale;
}

} // namespace

DecimalTextValidator::DecimalTextValidator(double bottom, double top, int decimals, QObject* parent)
    : QDoubleValidator(bottom, top, decimals, parent)
{ }

std::array<DecimalTextValidator::Form, 3> DecimalTextValidator::forms()
{
    // QLocale() is the system's locale, or the one the application made its default.
    return {Form {withoutGroups(QLocale::c()), false}, Form {withoutGroups(QLocale()), false},
        Form {withoutGroups(QLocale::c()), true}};
}

QValidator::State DecimalTextValidator::check(const Form& form, const QString& text) const
{
    QString probe = text;
    if (form.commaAsPoint) {
        if (!probe.contains(QLatin1Char(',')) || probe.contains(QLatin1Char('.')))
            return Invalid;
        probe.replace(QLatin1Char(','), QLatin1Char('.'));
    }
    // A validator of the same range in the form's locale does the judging.
    QDoubleValidator judge(bottom(), top(), decimals());
    judge.setNotation(notation());
    judge.setLocale(form.locale);
    int pos = 0;
    return judge.validate(probe, pos);
}

QValidator::State DecimalTextValidator::validate(QString& input, int&) const
{
    State best = Invalid;
    for (const Form& form : forms()) {
        best = std::max(best, check(form, input));
        if (best == Acceptable)
            break;
    }
    return best;
}

void DecimalTextValidator::fixup(QString&) const { }

std::optional<double> DecimalTextValidator::valueOf(const QString& text) const
{
    for (const Form& form : forms()) {
        if (check(form, text) != Acceptable)
            continue;
        QString probe = text;
        if (form.commaAsPoint)
            probe.replace(QLatin1Char(','), QLatin1Char('.'));
        bool ok = false;
        const double value = form.locale.toDouble(probe, &ok);
        if (ok)
            return value;
    }
    return std::nullopt;
}

} // namespace PluginDevControl
