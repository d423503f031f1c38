-- Items of many devices in one ClickHouse server: clickhouse-client --multiquery < clickhouse.sql
-- An item may come twice: FINAL shows it once, and in time the engine keeps it once.
CREATE DATABASE IF NOT EXISTS jorn;
CREATE TABLE jorn.items (
    device      String,
    log         String,
    epoch       UInt64,
    seq         UInt64,
    time        Int64,
    level       Int32,
    slot        Int32,
    text        String,
    text_base64 String
) ENGINE = ReplacingMergeTree
PARTITION BY toYYYYMM(toDateTime(toUInt32(time)))
ORDER BY (device, log, time, epoch, seq);
