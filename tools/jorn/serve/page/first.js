// SPDX-License-Identifier: Apache-2.0
// Asks for what the first screen shows while the rest of the page is still on its way.
import { askEarly } from "./api.js";
import { openingOf } from "./items.js";
import { filterOf, fromQuery, isFiltered, placeOf } from "./state.js";

// Pixels of a bar of the histogram, about. Its own width is not known before the style is there.
const BAR = 5;

/** What is asked of /api/histogram for a filter. */
export const countingOf = (filter) => ({ ...filter,
  buckets: Math.min(1000, Math.max(30, Math.floor(innerWidth / BAR))) });

/** What is asked of /api/histogram to learn the time of all items, whatever is filtered. */
export const ALL_TIME = { buckets: 1 };

/**
 * Of what is filtered the histogram shows all time too, so that it stays in place while one filters. A limit that was
 * given may lie outside of all time, so the other one is then left to the server.
 */
export const showsAllTime = (state) => isFiltered(state) && !state.since && !state.until;

const state = fromQuery(location.search);
const filter = filterOf(state);
askEarly("items", openingOf(filter, placeOf(state)));
askEarly("histogram", showsAllTime(state) ? ALL_TIME : countingOf(filter));
askEarly("logs");
askEarly("facets", filter);
