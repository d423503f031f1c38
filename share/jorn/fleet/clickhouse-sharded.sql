-- One of several ClickHouse servers, for each of them: clickhouse-client --multiquery < clickhouse-sharded.sql
-- The cluster is called fleet in the servers' remote_servers. All items of a device go to one server, so that one
-- which comes twice is there twice, and FINAL finds it.
CREATE DATABASE IF NOT EXISTS jorn;
CREATE TABLE jorn.items_here (
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
CREATE TABLE jorn.items AS jorn.items_here
ENGINE = Distributed(fleet, jorn, items_here, cityHash64(device));
