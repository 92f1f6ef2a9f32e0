#pragma once

namespace lumora::sample {

/// What the application learns about the framework it links: where its bundle
/// is, which languages it speaks, and what the local recording service answers.
/// Each step prints what it finds.
namespace serviceBoundaryApp {

/// Prints the framework's version, where its bundle is, and the running app's name.
/// Answers false when the framework bundle is missing.
bool showFrameworkBundle();

/// Prints the app's name and one framework text in the user's current languages.
void showFrameworkStringsForCurrentUser();

/// Starts, stops and discards a recording through the local service proxy.
void talkToLocalService();

/// Prints the user-facing text of every recording error.
void showRecordingErrors();

} // namespace serviceBoundaryApp

} // namespace lumora::sample
