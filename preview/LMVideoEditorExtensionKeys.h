#pragma once

#include <string_view>

namespace lumora {

// The labels of the input items the host hands to the video editor
// extension. Each value is the title of one item; the editor finds an item by
// comparing titles with these values.

/// The recorded movie's file-system path. The value deliberately differs from
/// the constant's name: the editor looks the item up by this value.
inline constexpr std::string_view LMVideoEditorExtensionMoviePathKey = "LMVideoEditorExtensionMovieURLKey";
/// The host application's bundle name.
inline constexpr std::string_view LMVideoEditorExtensionAppNameKey = "LMVideoEditorExtensionAppNameKey";
/// The host application's bundle identifier.
inline constexpr std::string_view LMVideoEditorExtensionBundleIdentifierKey
    = "LMVideoEditorExtensionBundleIdentifierKey";
/// The file-system path of an extra file to attach when sharing.
inline constexpr std::string_view LMVideoEditorExtensionFileAttachmentKey = "LMVideoEditorExtensionFileAttachmentKey";
/// The message that replaces the editor's default share message.
inline constexpr std::string_view LMVideoEditorExtensionOverrideShareMessageKey
    = "LMVideoEditorExtensionOverrideShareMessageKey";
/// The colour that replaces the editor's tint colour.
inline constexpr std::string_view LMVideoEditorExtensionOverrideTintColorKey
    = "LMVideoEditorExtensionOverrideTintColorKey";

} // namespace lumora
