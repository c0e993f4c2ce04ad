// Usage: check.mjs OPENAPI PAGE
// Validates the description, and holds the captured requests of the page against it: method, path, kind of body, the
// names, order and content types of the parts, and every JSON text; also the examples of answers against their own
// schemas. Prints what is wrong; the status is 1 then.

import { readFileSync } from 'node:fs';
import { Validator } from '@seriousme/openapi-schema-validator';
import Ajv from 'ajv';
import addFormats from 'ajv-formats';

const [descriptionPath, pagePath] = process.argv.slice(2);
const problems = [];

const validator = new Validator();
const validity = await validator.validate(descriptionPath);
if (!validity.valid) {
  console.error(`${descriptionPath} is no valid OpenAPI document:`);
  console.error(typeof validity.errors === 'string' ? validity.errors : JSON.stringify(validity.errors, null, 2));
  process.exit(1);
}
// With all references put in their places.
const description = validator.resolveRefs();

const ajv = addFormats.default(new Ajv.default({ strict: false, allErrors: true }));

function examplesOf(page) {
  const blocks = page.matchAll(/<!-- example (\S+) -->\n```http\n(.*?)```\n<!-- end of example -->\n/gs);
  return [...blocks].map(([, name, text]) => ({ name, ...requestOf(text) }));
}

function requestOf(text) {
  const headEnd = text.indexOf('\n\n');
  const [requestLine, ...headerLines] = text.slice(0, headEnd).split('\n');
  const [method, path] = requestLine.split(' ');
  return { method, path, headers: headersOf(headerLines), body: text.slice(headEnd + 2) };
}

function headersOf(lines) {
  return Object.fromEntries(lines.map((line) => line.match(/^([^:]+): (.*)$/).slice(1)));
}

function partsOf(contentType, body) {
  const delimiter = '--' + contentType.match(/boundary=(.+)$/)[1];
  const pieces = ('\n' + body).split('\n' + delimiter);
  return pieces.slice(1, -1).map((piece) => {
    const headEnd = piece.indexOf('\n\n');
    const headers = headersOf(piece.slice(1, headEnd).split('\n'));
    const name = headers['Content-Disposition'].match(/; name="([^"]*)"/)[1];
    return { name, contentType: headers['Content-Type'], text: piece.slice(headEnd + 2) };
  });
}

function checkJson(text, schema, what) {
  let value;
  try {
    value = JSON.parse(text);
  } catch (error) {
    problems.push(`${what}: ${error.message}`);
    return;
  }
  const validate = ajv.compile(schema);
  if (!validate(value)) problems.push(`${what}: ${ajv.errorsText(validate.errors)}`);
}

function checkForm(name, parts, media) {
  const described = Object.keys(media.schema.properties);
  const sent = parts.map((part) => part.name);
  if (sent.join() !== described.join()) {
    problems.push(`${name}: the parts are ${sent}, described are ${described}`);
    return;
  }
  for (const part of parts) {
    const schema = media.schema.properties[part.name];
    const contentType = media.encoding?.[part.name]?.contentType;
    if (part.contentType !== contentType)
      problems.push(`${name}: part ${part.name} has the content type ${part.contentType}, described is ${contentType}`);
    if (schema.type === 'object') checkJson(part.text, schema, `${name}: part ${part.name}`);
  }
}

const examples = examplesOf(readFileSync(pagePath, 'utf8'));
for (const { name, method, path, headers, body } of examples) {
  const operation = description.paths[path]?.[method.toLowerCase()];
  const type = headers['Content-Type'].split(';')[0];
  const media = operation?.requestBody.content[type];
  if (!media) problems.push(`${name}: ${method} ${path} with ${type} is not described`);
  else if (type === 'application/json') checkJson(body, media.schema, name);
  else checkForm(name, partsOf(headers['Content-Type'], body), media);
}
for (const [path, { post, get }] of Object.entries(description.paths)) {
  if (post && !examples.some((example) => example.path === path))
    problems.push(`${path} is described, but has no example`);
  // A test of the log service sees to it that the example of a query is a real answer.
  for (const [status, { content }] of Object.entries(get?.responses ?? {})) {
    const media = content['application/json'];
    if (media) checkJson(JSON.stringify(media.example), media.schema, `${path}: the example for ${status}`);
  }
}

if (problems.length > 0) {
  console.error(problems.join('\n'));
  process.exit(1);
}
console.log(`${descriptionPath} is valid, and the ${examples.length} examples of ${pagePath} agree with it.`);
