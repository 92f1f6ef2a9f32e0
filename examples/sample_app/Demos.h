#pragma once

namespace lumora::sample {

/// Each flow of the sample app, run in this order by main(). Every flow steers
/// the simulated device itself and prints what the framework reports.
void runServiceBoundaryDemo();
void runRecordingDemo();
void runPreviewDemo();
void runUploadDemo();
void runWidgetsDemo();

} // namespace lumora::sample
