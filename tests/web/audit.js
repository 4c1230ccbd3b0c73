// Looks at the page as checkers of accessibility do. Answers a list of findings, one line each.

const findings = [];

function describe(element) {
  const name = element.id ? `#${element.id}` : element.className ? `.${String(element.className).split(' ')[0]}` : '';
  return `<${element.localName}${name}> "${element.textContent.trim().slice(0, 40)}"`;
}

function isShown(element) {
  if (element.closest('.unseen, .skip, [hidden], thead[style]')) return false;
  return element.checkVisibility({visibilityProperty: true}) && element.getClientRects().length > 0;
}

// Colours

function channels(color) {
  const [red, green, blue, alpha = 1] = color.match(/[\d.]+/g).map(Number);
  return {rgb: [red, green, blue], alpha};
}

function luminance(rgb) {
  const [red, green, blue] = rgb.map((value) => {
    const part = value / 255;
    return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
  });
  return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
}

function contrast(a, b) {
  const [dark, light] = [luminance(a), luminance(b)].sort((x, y) => x - y);
  return (light + 0.05) / (dark + 0.05);
}

function backgroundOf(element) {
  for (let each = element; each; each = each.parentElement) {
    const {rgb, alpha} = channels(getComputedStyle(each).backgroundColor);
    if (alpha === 1) return rgb;
    if (alpha > 0) findings.push(`background half transparent: ${describe(each)}`);
  }
  return [255, 255, 255];
}

function checkText(element) {
  const style = getComputedStyle(element);
  const size = parseFloat(style.fontSize);
  const isLarge = size >= 24 || (size >= 18.66 && Number(style.fontWeight) >= 700);
  const ratio = contrast(channels(style.color).rgb, backgroundOf(element));
  if (style.opacity !== '1') findings.push(`opacity: ${describe(element)}`);
  if (ratio < (isLarge ? 3 : 4.5)) findings.push(`contrast ${ratio.toFixed(2)}: ${describe(element)}`);
}

function checkTexts() {
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  const seen = new Set();
  while (walker.nextNode()) {
    const element = walker.currentNode.parentElement;
    if (seen.has(element) || walker.currentNode.data.trim() === '' || !isShown(element)) continue;
    seen.add(element);
    checkText(element);
  }
  return seen.size;
}

function checkEdge(element, property) {
  const edge = channels(getComputedStyle(element)[property]).rgb;
  const ratio = contrast(edge, backgroundOf(element.parentElement));
  if (ratio < 3) findings.push(`edge ${ratio.toFixed(2)}: ${describe(element)}`);
}

// Structure

function checkOne(selector, what) {
  const count = document.querySelectorAll(selector).length;
  if (count !== 1) findings.push(`${count} of ${what}`);
}

function checkHeadings() {
  let level = 0;
  for (const heading of document.querySelectorAll('h1, h2, h3, h4')) {
    if (!isShown(heading)) continue;
    const own = Number(heading.localName[1]);
    if (own > level + 1) findings.push(`heading skips a level: ${describe(heading)}`);
    if (heading.textContent.trim() === '') findings.push(`empty heading: ${describe(heading)}`);
    level = own;
  }
}

function checkIds() {
  const ids = [...document.querySelectorAll('[id]')].map((element) => element.id);
  for (const id of new Set(ids)) if (ids.filter((each) => each === id).length > 1) findings.push(`id twice: ${id}`);
  for (const element of document.querySelectorAll('[aria-labelledby]'))
    for (const id of element.getAttribute('aria-labelledby').split(' '))
      if (!document.getElementById(id)?.textContent.trim()) findings.push(`labelled by nothing: ${describe(element)}`);
  for (const link of document.querySelectorAll('a[href^="#"]'))
    if (!document.getElementById(link.hash.slice(1))) findings.push(`link to nothing: ${describe(link)}`);
}

function nameOf(element) {
  const labels = [...(element.labels ?? [])].map((label) => label.textContent).join(' ');
  return (element.getAttribute('aria-label') || labels || element.textContent).trim();
}

function checkControls() {
  const names = new Map();
  for (const control of document.querySelectorAll('a[href], button, input, summary, [role=img], [role=group]')) {
    if (!isShown(control)) continue;
    const name = nameOf(control);
    if (name === '') findings.push(`no name: ${describe(control)}`);
    if (control.localName === 'summary' && control.closest('.card')) {
      if (names.has(name)) findings.push(`same name twice: ${name}`);
      names.set(name, control);
    }
  }
}

function checkSizes() {
  for (const control of document.querySelectorAll('button, input')) {
    const box = control.getBoundingClientRect();
    if (isShown(control) && box.height < 24 && control.localName === 'button') findings.push(`small: ${describe(control)}`);
  }
}

function checkLists() {
  for (const list of document.querySelectorAll('ul, ol'))
    for (const child of list.children) if (child.localName !== 'li') findings.push(`no list item: ${describe(child)}`);
  for (const term of document.querySelectorAll('dt'))
    if (term.nextElementSibling?.localName !== 'dd') findings.push(`term without value: ${describe(term)}`);
}

checkOne('main', 'main');
checkOne('h1', 'h1');
checkOne('footer', 'footer');
checkOne('body > header', 'header');
checkOne('nav[aria-label]', 'named nav');
checkOne('[role=alert]', 'alert');
checkOne('[role=log]', 'log');
checkOne('[role=status]', 'status');
if (!document.documentElement.lang) findings.push('no language');
checkHeadings();
checkIds();
checkControls();
checkSizes();
checkLists();
const texts = checkTexts();
for (const button of document.querySelectorAll('button')) if (isShown(button)) checkEdge(button, 'borderTopColor');
for (const bar of document.querySelectorAll('.card, #unit, .message')) checkEdge(bar, 'borderLeftColor');
return {findings, texts};
