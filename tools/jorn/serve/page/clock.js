// SPDX-License-Identifier: Apache-2.0
// Times in the zone of the server, so that the page shows those that the tool prints and takes.

// The browser knows when its own zone changes to summer time and back; the server names one offset alone. So the zone
// is the browser's where both agree now, else the server's offset.
let fixedOffset = null;

const browserOffset = (seconds) => -60 * new Date(seconds * 1000).getTimezoneOffset();

/** Takes the server's zone, "+01:00", at a time of the server's clock. Returns whether times are shown otherwise now. */
export function setZone(zone, now) {
  const parts = /^([+-])(\d\d):(\d\d)$/.exec(zone);
  const offset = parts ? (parts[1] + 1) * (parts[2] * 3600 + parts[3] * 60) : 0;
  const before = fixedOffset;
  fixedOffset = offset === browserOffset(now) ? null : offset;
  return fixedOffset !== before;
}

/** What local time is ahead of UTC, in seconds. */
export const offsetAt = (seconds) => fixedOffset ?? browserOffset(seconds);

const iso = (seconds) => new Date((seconds + offsetAt(seconds)) * 1000).toISOString();

/** 2026-11-22 */
export const dateOf = (seconds) => iso(seconds).slice(0, 10);
/** 14:05:06 */
export const timeOf = (seconds) => iso(seconds).slice(11, 19);
/** 2026-11-22 14:05:06 */
export const stampOf = (seconds) => `${dateOf(seconds)} ${timeOf(seconds)}`;
