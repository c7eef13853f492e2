// The parts of the chart library that the page needs; their bundle is a third smaller than the whole library.
import {extend} from 'vega-util';
import {transforms} from 'vega-dataflow';
import * as basic from 'vega-transforms';
import * as encode from 'vega-encode';
import * as layout from 'vega-view-transforms';

extend(transforms, basic, encode, layout);

export {parse} from 'vega-parser';
export {View} from 'vega-view';
