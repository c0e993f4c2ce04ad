#pragma once

struct Bench;

// Each adds its rows to the table, and throws std::runtime_error when something does not run as it should.

/// One log record beside a plain logging library; with remote reporting on beside off.
void measureLogRecords(Bench &bench);
/// A retention pass over many names beside find.
void measureRetention(Bench &bench);
/// A start with nothing to do beside an empty program.
void measureStart(Bench &bench);
/// Processor time of a run that sends only its own log.
void measureOwnLogOnly(Bench &bench);
/// Small files beside curl.
void measureSmallFiles(Bench &bench);
/// Throughput of a large file beside a minimal program and curl.
void measureThroughput(Bench &bench);
/// Memory while a large file is sent beside a small one.
void measureLargeFileMemory(Bench &bench);
/// Threads and descriptors after many uploads beside a few.
void measureHeldResources(Bench &bench);
/// Time and memory per upload with more and more groups.
void measureUploadCounts(Bench &bench);
/// Time per group whose file is missing.
void measureSkippedGroups(Bench &bench);
/// Uploads of many clients at once to the log service beside nginx, and that each of them is stored.
void measureManyUploads(Bench &bench);
