#include "variablesettings.h"

#include "legacy.h"
#include "runtimeerror.h"
#include "settingsstore.h"

namespace manager {

namespace {
constexpr long long kSecondsPerDay = 24 * 3600;
const QString kTrue = QStringLiteral("TRUE");
const QString kFalse = QStringLiteral("FALSE");

// A stored number that cannot be read counts as `fallback`.
long long storedNumber(const settings::Key& key, long long fallback)
{
    try {
        return legacy::textToInt32(settings::read(key));
    } catch (const RuntimeError&) {
        return fallback;
    }
}
} // namespace

UpdateSettings VariableSettings::load()
{
    UpdateSettings v;
    const long long interval = storedNumber(settings::kRetryInterval, 0);
    v.promptForDelay = settings::read(settings::kPromptForDelay) == kTrue;
    v.promptForVariable = settings::read(settings::kPromptForVariable) == kTrue;
    const long long display = storedNumber(settings::kPromptForDisplay, 2);
    v.displayChoice = (display < 0 || display > 2) ? 2 : int(display);
    const Parts parts = splitInterval(interval);
    v.hours = QString::number(parts.hours);
    v.minutes = QString::number(parts.minutes);
    v.seconds = QString::number(parts.seconds);
    return v;
}

void VariableSettings::store(const UpdateSettings& v)
{
    settings::write(settings::kRetryInterval, QString::number(intervalOf(v.hours, v.minutes, v.seconds)));
    settings::write(settings::kPromptForDelay, v.promptForDelay ? kTrue : kFalse);
    settings::write(settings::kPromptForVariable, v.promptForVariable ? kTrue : kFalse);
    settings::write(settings::kPromptForDisplay, QString::number(v.displayChoice));
}

int VariableSettings::displayChoiceOf(bool current, bool lastSelection, bool askEveryTime)
{
    if (askEveryTime)
        return 2;
    if (current)
        return 0;
    if (lastSelection)
        return 1;
    return 0;
}

VariableSettings::Parts VariableSettings::splitInterval(long long seconds)
{
    // Added to midnight: negative intervals land on the previous day's clock.
    const long long timeOfDay = ((seconds % kSecondsPerDay) + kSecondsPerDay) % kSecondsPerDay;
    return {int(timeOfDay / 3600), int(timeOfDay % 3600 / 60), int(timeOfDay % 60)};
}

long long VariableSettings::intervalOf(const QString& hours, const QString& minutes, const QString& seconds)
{
    const double sum = legacy::val(hours) * 3600 + legacy::val(minutes) * 60 + legacy::val(seconds);
    return static_cast<long long>(legacy::roundHalfEven(sum));
}

} // namespace manager
