// Thresholds, drawn behind a plot: a line across it, and its name.

// A colour of the style sheet, as it is in the light or in the dark.
export function color(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

function drawLine(context, area, graph, {level, tone}) {
  const y = Math.round(graph.toDomYCoord(level)) + 0.5;
  context.strokeStyle = color(`--${tone}`);
  context.beginPath();
  context.moveTo(area.x, y);
  context.lineTo(area.x + area.w, y);
  context.stroke();
}

// On a ground of its own: another line may pass behind it.
function drawName(context, area, graph, {level, tone, name}, index) {
  const {width} = context.measureText(name);
  // Neighbours may be close, so their names stand at either end.
  const left = index % 2 === 0 ? area.x + 4 : area.x + area.w - 4 - width;
  const y = Math.round(graph.toDomYCoord(level)) - 4;
  context.fillStyle = color('--panel');
  context.fillRect(left - 2, y - 9, width + 4, 12);
  context.fillStyle = color(`--${tone}`);
  context.fillText(name, left, y);
}

// `limits`: each with `level`, `name` and `tone`, the name of a colour.
export function drawLimits(context, area, graph, limits) {
  context.font = `11px ${getComputedStyle(document.body).fontFamily}`;
  context.setLineDash([5, 4]);
  for (const limit of limits) drawLine(context, area, graph, limit);
  context.setLineDash([]);
  limits.forEach((limit, index) => drawName(context, area, graph, limit, index));
}
