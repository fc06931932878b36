#include <gtest/gtest.h>

#include "analytics/CQuillAnalyze.h"

namespace orin {
namespace {

TEST(Lifecycle, FreshEngineState) {
  CQuillAnalyze engine;
  EXPECT_FALSE(engine.isInitialized());
  EXPECT_TRUE(engine.isFirstRun());
  EXPECT_FALSE(engine.hasWorkerThread());
  EXPECT_EQ(engine.GetLastErrorCode(), 0);
  EXPECT_TRUE(engine.commonProperties().empty());
  EXPECT_EQ(engine.queuedCount(), 0u);
  EXPECT_NE(CQuillAnalyze::InvalidThread(), nullptr);
}

TEST(Lifecycle, ProcessEngineIsOneStaticObjectThatReleaseLeavesAlone) {
  IQuillAnalyze* engine = GetAnalyzeEngine();
  ASSERT_NE(engine, nullptr);
  EXPECT_EQ(GetAnalyzeEngine(), engine);
  engine->Release();  // deleting a static object would abort here
  engine->Release();
  EXPECT_EQ(GetAnalyzeEngine(), engine);
  EXPECT_EQ(engine->GetLastErrorCode(), 0);
  EXPECT_TRUE(engine->StopWorker());
}

class CountedEngine : public CQuillAnalyze {
 public:
  explicit CountedEngine(int& destroyed) : destroyed_(destroyed) {}
  ~CountedEngine() override { ++destroyed_; }

 private:
  int& destroyed_;
};

TEST(Lifecycle, ReleaseDeletesAHeapEngineThroughItsVirtualDestructor) {
  int destroyed = 0;
  IQuillAnalyze* engine = new CountedEngine(destroyed);
  engine->Release();
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
}  // namespace orin
