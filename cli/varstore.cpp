#include "varstore.h"

#include "clsVariableAccess.h"

EngineSet::EngineSet(const vls::RecordSet& records) : m_set(std::make_unique<clsVariableAccess>(records)) {}

EngineSet::~EngineSet() = default;
