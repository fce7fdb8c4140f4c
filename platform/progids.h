#pragma once

// The ProgIDs of every public class of the component libraries, each written
// once: the libraries register their classes under these names and their users
// create them by these names.

namespace progid {

inline constexpr const char* kDispTrans = "zolDTCon4.zolDispTrans";
inline constexpr const char* kDisplayList = "zolDTCon4.DisplayList";
inline constexpr const char* kPluginMaster = "zolPluginCtl4.zolPluginMaster";
inline constexpr const char* kBadWordChecker = "zolBadWordCheckerPLG.zolBadWordChecker";
inline constexpr const char* kDisplayChooser = "Lumarex.DisplayChooser";
inline constexpr const char* kVariablePlugin = "zolQMDVariablePlugin.zolQMDVariables";
inline constexpr const char* kVariablePluginData = "zolQMDVariablePlugin.PluginData";
inline constexpr const char* kVarEditor = "zolQMDVariablePlugin.clsFrm_Var_Editor";

} // namespace progid
