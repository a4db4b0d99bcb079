#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>

#include <map>

#include "platform/mac/mac_adapters.hpp"

namespace kolvo::platform {

struct MainQueueExecutor::Pending {
  std::map<base::TaskId, dispatch_block_t> blocks;
};

MainQueueExecutor::MainQueueExecutor() : pending_(std::make_unique<Pending>()) {}

MainQueueExecutor::~MainQueueExecutor() {
  for (auto& [id, block] : pending_->blocks) dispatch_block_cancel(block);
}

void MainQueueExecutor::post(base::Task task) {
  auto shared = std::make_shared<base::Task>(std::move(task));
  dispatch_async(dispatch_get_main_queue(), ^{
    (*shared)();
  });
}

base::TaskId MainQueueExecutor::post_after(base::Duration delay, base::Task task) {
  const base::TaskId id = next_id_++;
  auto shared = std::make_shared<base::Task>(std::move(task));
  Pending* pending = pending_.get();
  dispatch_block_t block = dispatch_block_create(static_cast<dispatch_block_flags_t>(0), ^{
    pending->blocks.erase(id);
    (*shared)();
  });
  pending_->blocks.emplace(id, block);
  const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(delay).count();
  dispatch_after(dispatch_time(DISPATCH_TIME_NOW, nanoseconds), dispatch_get_main_queue(), block);
  return id;
}

void MainQueueExecutor::cancel(base::TaskId id) {
  const auto found = pending_->blocks.find(id);
  if (found == pending_->blocks.end()) return;
  dispatch_block_cancel(found->second);
  pending_->blocks.erase(found);
}

}  // namespace kolvo::platform
