#pragma once

// The host's components the tool carries in itself: the transmission control
// and display list, the plug-in master and the bad-word checker. Made by
// ProgID like the host's, without looking for installed libraries.
namespace components {
void install();
}
