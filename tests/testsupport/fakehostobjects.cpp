#include "fakehostobjects.h"

#include "classregistry.h"
#include "runtimeerror.h"

FakeDisplayChooser::FakeDisplayChooser(QString answer) : m_answer(std::move(answer)) { ++alive; }
FakeDisplayChooser::~FakeDisplayChooser() { --alive; }

QString FakeDisplayChooser::SelectDisplays()
{
    ++asked;
    return m_answer;
}

void FakeDisplayChooser::install(const QString& answer)
{
    ComponentLoader::setFactory(hostobjects::kDisplayChooserProgId,
                                [answer] { return new FakeDisplayChooser(answer); });
}

QString FakeLinkContainer::dataText()
{
    if (onRead)
        onRead();
    if (value == u"!")
        throw RuntimeError(RuntimeError::AutomationError);
    return linkedTo.isEmpty() ? QString() : values.value(linkedTo, value);
}
