#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <orinpoint/IAnalyticsFile.h>

#include "cache/CMyEncrypt.h"
#include "cache/batch_text.h"

namespace orin {

// The event cache file (format in cache/record_format.h). Not internally locked: one thread at a
// time. Only AppendRecord takes the cross-process cache lock; the delivery cycle works on the
// memory image taken by LoadFile.
//
// The interface operations are where exceptions stop: each catches whatever its work throws (an
// allocation sized by a stored length, JsonCpp, an override of one of the operations below) and
// returns its failure value, leaving the loaded records as they were. The class's own operations
// let exceptions through to that boundary, so a failure inside one is never mistaken for success.
class CAnalyticsFile : public IAnalyticsFile {
 public:
  CAnalyticsFile();
  CAnalyticsFile(const CAnalyticsFile&) = delete;
  CAnalyticsFile& operator=(const CAnalyticsFile&) = delete;

  bool LoadFile(const char* path) override;
  bool ReadChunks(const char* path, std::vector<Json::Value*>& out) override;
  bool ReadAllEvents(const char* path, Json::Value& out) override;
  bool AppendText(const char* path, const char* text) override;
  bool AppendEvent(const char* path, const Json::Value& event) override;
  bool ReadNextBatch(Json::Value& out, std::int32_t& count) override;
  bool CommitConsumed(const char* path) override;
  void PutBack(std::int32_t count) override;
  bool ReadNextBatchWithUser(Json::Value& out, std::int32_t& count, const char* user) override;

  // Nothing loaded: false, and the file is not touched.
  virtual bool WriteUnread(const char* path);
  // Replaces the loaded image: the records of the previous one are dropped with it (readIndex 0),
  // and pointers a caller kept from an earlier call become invalid.
  virtual bool LoadRecords(const char* path, std::vector<const char*>& out);
  // Not reentrant: every caller shares one module-wide chunk area.
  virtual bool ReadChunk(const char* path, std::vector<std::string>& out, std::int64_t& offset);
  virtual bool ReadRecordTexts(const char* path, std::vector<std::string>& out);
  virtual void ParseRecords(Json::Value& out, const std::vector<std::string>& texts);
  virtual void ParseRecordsWithUser(Json::Value& out, const std::vector<std::string>& texts,
                                    const char* user);
  virtual bool AppendRecord(const char* path, const void* record, std::int32_t size);
  // The caller owns the result (delete[]); nullptr when size cannot hold the length field.
  virtual char* NewRecord(std::int32_t size);
  // After the operations above, so their slots do not move (see IAnalyticsFile.h).
  virtual ~CAnalyticsFile();

  // The next batch as ReadNextBatch takes it, but as the text to post (cache/batch_text.h).
  bool ReadNextBatchText(BatchText& out, std::int32_t& count);

  // Every byte LoadFile read is in a record whose length fits; whether each text parses shows
  // only as its batch is read (BatchText::unparsed).
  bool LoadedOnlyRecords() const { return recordsEnd_ == fileSize_; }
  // Where loaded record `index` starts in the file; past the last, where the records end.
  std::int64_t RecordOffset(std::int32_t index) const {
    return index >= 0 && static_cast<std::size_t>(index) < records_.size()
               ? records_[static_cast<std::size_t>(index)] - fileBuffer_.get()
               : recordsEnd_;
  }
  std::int32_t readIndex() const { return readIndex_; }
  std::size_t recordCount() const { return records_.size(); }

 private:
  bool AppendPayload(const char* path, const std::string& payload);
  // Decrypts up to `count` loaded records from readIndex on into batchTexts_ and sets `count` to
  // their number; readIndex moves only once the batch has been parsed (CommitTaken).
  const std::vector<std::string>& TakeRecords(std::int32_t& count);
  void CommitTaken(std::int32_t count);
  void ReleaseBatchTexts();

  CMyEncrypt cipher_;
  std::unique_ptr<char[]> fileBuffer_;
  std::vector<const char*> records_;
  std::int32_t readIndex_ = 0;
  std::int64_t fileSize_ = 0;
  std::int64_t recordsEnd_ = 0;  // where the last whole-length record ends
  // Reused by every batch, so a delivery allocates the list once rather than per batch, and the
  // texts' buffers, kept in spareTexts_ between batches, once rather than per record.
  std::vector<std::string> batchTexts_;
  std::vector<std::string> spareTexts_;
};

// The process-wide cache file object, built on first use.
CAnalyticsFile* GetAnalyticsFile();

}  // namespace orin
