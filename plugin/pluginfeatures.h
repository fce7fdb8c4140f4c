#pragma once

class QObject;

// The dialogs behind the three host entry points. Each shows its dialog modally
// and comes back when it closes.
namespace features {
void showVariableManager();
void showCommandInserter(QObject* frameEditor);
void updateOnTransmit(QObject* transmissionContext);
} // namespace features
