#include <gtest/gtest.h>

#include <QApplication>

#include "Tests/Support/TestHome.h"

int main(int count, char** arguments) {
  testing::InitGoogleTest(&count, arguments);
  const zn::test::TemporaryFolder runtime;  // of the session, where Qt keeps files
  qputenv("XDG_RUNTIME_DIR", QByteArray::fromStdString(runtime / ""));
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication application(count, arguments);
  return RUN_ALL_TESTS();
}
